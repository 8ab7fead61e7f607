// Selects standard templates from lists of packages, and reads them from the template manager.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx.h"

namespace QXA {

/// True for a record of the standard technology.
bool isStandardPackage(const std::shared_ptr<const QXL::QXLPackage>& package);

/// The standard packages of a list, in order.
QXL::QXLPackageList standardPackages(const QXL::QXLPackageList& packages);
QXL::QXLPackageList standardPackages(const QXL::QXLInstallationPackageList& packages);

/// The keys of the standard packages of a list, in order.
std::vector<QXATemplate> standardTemplates(const QXL::QXLPackageList& packages);
std::vector<QXATemplate> standardTemplates(const QXL::QXLInstallationPackageList& packages);

/// Reads the configuration of versions of one template.
class StandardPackageConfigReader {
public:
    explicit StandardPackageConfigReader(std::string name) : m_name(std::move(name)) {}

    /// Appends the record of `version`. An unknown version is ignored, one that cannot be read is
    /// logged. @return false: always go on.
    bool operator()(const QXAPackageVersion& version,
                    std::vector<QXAStandardQXTemplateEx>* records) const;

private:
    std::string m_name;
};

/// Reads one requested template from the template manager.
struct StandardPackageTEMReader {
    /// Appends a record with all fields; ignores an unknown template and a null request.
    /// @return true on failure: the caller stops.
    bool operator()(const std::shared_ptr<const QXL::QXLPackage>& package,
                    QXL::QXLPackageList* out) const;
};

/// Appends the packages of a template.
struct RPMPackagesAppender {
    void operator()(const QXAStandardQXTemplateEx& record, QXL::QXLPackageList* out) const;
};

/// True if `a` is compatible with `b`.
struct PackagesCompatibilityChecker {
    bool operator()(const QXAStandardQXTemplateEx& a, const QXAStandardQXTemplateEx& b) const {
        return a.compatible(b);
    }
};

}  // namespace QXA
