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

/// A template record. Which technology filled it decides what the unnamed flags mean.
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
    std::string detail;         ///< KR: carried from the template's metadata
    bool status = false;        ///< KR lists: derived from the container's status
    QXL::QXLPackageList members;  ///< the agent's own

    /// What the template requires of a node; borrowed until the next setTechnologyList().
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

    bool packageFlag = true;  ///< as the template manager lists the version

    /// Type identifier of the record in agent messages, in QXL::kTypesNamespace.
    static constexpr const char* kMessageType = "package_std_qxtemplateType";

    /// Reads the record at a message's iterator into `out`. @return 0 when good, -1 otherwise;
    /// `out` may then be half filled.
    struct QXL_API Reader {
        int operator()(QXL::QXLMessageIterator& message, QXAPackageQXTemplateStd& out) const;
    };

    /// Writes the fields of this class and its bases, no more. @return 0 when good, -1 otherwise.
    struct QXL_API Writer {
        int operator()(QXL::QXLMessageIterator& message,
                       const QXAPackageQXTemplateStd& record) const;
    };
};

}  // namespace QXA
