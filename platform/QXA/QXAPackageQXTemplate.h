// Package records of templates: of any technology, and of the standard one.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QXL/Export.h"
#include "QXL/QXLPackage.h"

namespace QXL {
class QXLMessageIterator;
}

namespace QXA {

/// A template record. What `versionFlag`, `detail` and `status` mean depends on the technology.
class QXL_API QXAPackageQXTemplate : public QXL::QXLPackage {
public:
    QXAPackageQXTemplate() = default;
    QXAPackageQXTemplate(const QXAPackageQXTemplate&) = default;
    QXAPackageQXTemplate& operator=(const QXAPackageQXTemplate&) = default;
    QXAPackageQXTemplate(QXAPackageQXTemplate&&) = default;
    QXAPackageQXTemplate& operator=(QXAPackageQXTemplate&&) = default;
    ~QXAPackageQXTemplate() override;

    bool isOsTemplate = false;  ///< an OS template, else an application template
    bool versionFlag = false;   ///< standard: the listed version is an OS template; KR: flag "yes"
    std::string detail;         ///< KR: copied from the template's metadata
    bool status = false;        ///< KR lists: from the container's status
    QXL::QXLPackageList members;  ///< for the agent

    /// What the template requires of a node; valid until the next setTechnologyList().
    [[nodiscard]] const std::vector<std::string>& getTechnologyList() const {
        return m_technologies;
    }
    void setTechnologyList(std::vector<std::string> technologies) {
        m_technologies = std::move(technologies);
    }

private:
    std::vector<std::string> m_technologies;
};

/// A record of the standard technology.
class QXL_API QXAPackageQXTemplateStd : public QXAPackageQXTemplate {
public:
    QXAPackageQXTemplateStd() = default;
    QXAPackageQXTemplateStd(const QXAPackageQXTemplateStd&) = default;
    QXAPackageQXTemplateStd& operator=(const QXAPackageQXTemplateStd&) = default;
    QXAPackageQXTemplateStd(QXAPackageQXTemplateStd&&) = default;
    QXAPackageQXTemplateStd& operator=(QXAPackageQXTemplateStd&&) = default;
    ~QXAPackageQXTemplateStd() override;

    bool packageFlag = true;  ///< QXAPackageVersion::packageFlag of the version

    /// The record's type identifier in agent messages, in the namespace QXL::kTypesNamespace.
    static constexpr const char* kMessageType = "package_std_qxtemplateType";

    /// Reads the record at `message` into `out`. @return 0, or -1: `out` may then be half filled.
    struct QXL_API Reader {
        int operator()(QXL::QXLMessageIterator& message, QXAPackageQXTemplateStd& out) const;
    };

    /// Writes the fields of this class and its bases only. @return 0 or -1.
    struct QXL_API Writer {
        int operator()(QXL::QXLMessageIterator& message,
                       const QXAPackageQXTemplateStd& record) const;
    };
};

}  // namespace QXA
