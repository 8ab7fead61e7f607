// PackageInfoReader: describes one requested KR package.
#pragma once

#include <memory>
#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLPackage.h"
#include "qxtt/qxtt.h"

namespace QXA {

/// A function object, copyable. After a failure there is a message and no record.
class PackageInfoReader {
public:
    /// @param veid  the container's number in decimal digits, "" for the node.
    explicit PackageInfoReader(std::string veid) : m_veid(std::move(veid)) {}

    /// Appends a record with all fields of the requested package; ignores a null request.
    /// @return 0; 1 if the package cannot be read: the caller stops.
    int operator()(const QXL::QXLPackageSP& package, QXL::QXLPackageList& out) const;

    /// A new, empty record of the same packaging (rpm or deb); null, with a message, if it has
    /// none.
    static std::shared_ptr<QXL::QXLPackage> getLinuxPackage(const QXL::QXLPackageSP& package);

    /// A package's record from its OS template's repositories; null on failure.
    [[nodiscard]] QXL::QXLPackageSP getLinuxPackageInfo(const QXL::QXLPackageSP& package) const;

    /// Copies what the library knows; other fields of the record keep their values.
    static void parseLinuxPackageInfo(const pkg_info& info, const std::string& osName,
                                      QXL::QXLPackage& record);

    /// A template's record; null on failure. With a container, an application template is looked up
    /// for the container's OS template.
    QXL::QXLPackageSP getQXTemplateInfo(const QXAPackageQXTemplate* requested) const;

    /// Copies what the library knows; other fields of the record keep their values.
    static void parseQXTemplateInfo(const tmpl_info& info, QXAPackageQXTemplate& record);

private:
    std::string m_veid;
};

}  // namespace QXA
