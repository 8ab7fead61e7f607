// PackageInfoReader: describes one requested KR package.
#pragma once

#include <memory>
#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLPackage.h"
#include "qxtt/qxtt.h"

namespace QXA {

/// A function object, copyable. Failures leave a message and no record.
class PackageInfoReader {
public:
    /// @param veid  the container's number in decimal digits, "" for the node.
    explicit PackageInfoReader(std::string veid) : m_veid(std::move(veid)) {}

    /// Appends a described record of the requested one; a null request is passed over.
    /// @return 0, or 1 to stop: the record cannot be had.
    int operator()(const QXL::QXLPackageSP& package, QXL::QXLPackageList& out) const;

    /// A new, empty record of the packaging of the given one, null when it has none.
    static std::shared_ptr<QXL::QXLPackage> getLinuxPackage(const QXL::QXLPackageSP& package);

    /// A package's record out of its OS template's repositories.
    [[nodiscard]] QXL::QXLPackageSP getLinuxPackageInfo(const QXL::QXLPackageSP& package) const;

    /// Takes over what the library knows; the rest of the record stays.
    static void parseLinuxPackageInfo(const pkg_info& info, const std::string& osName,
                                      QXL::QXLPackage& record);

    /// A template's record; of an application template in the container when there is one.
    QXL::QXLPackageSP getQXTemplateInfo(const QXAPackageQXTemplate* requested) const;

    /// Takes over what the library knows; the rest of the record stays.
    static void parseQXTemplateInfo(const tmpl_info& info, QXAPackageQXTemplate& record);

private:
    std::string m_veid;
};

}  // namespace QXA
