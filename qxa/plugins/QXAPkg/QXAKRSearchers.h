// Function objects of the KR technology: matching templates, listing the packages of templates,
// removing templates, and selecting what caches and updates are made for.
#pragma once

#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"
#include "qxtt/qxtt.h"

namespace QXA {

/// Says whether a listed template is a requested one.
class KRTemplateSearcher {
public:
    explicit KRTemplateSearcher(const QXAPackageListOptions& options)
        : m_compatible(options.listCompatible()) {}

    /// A null request matches nothing.
    bool operator()(const QXL::QXLPackageSP& requested, const QXAPackageQXTemplate& listed) const;

    /// True if names and OS template names are equal.
    static bool matchKRTemplate(const QXL::QXLPackage& a, const QXL::QXLPackage& b);

    /// True if one template belongs to the other, or both are the same.
    static bool matchCompatibleKRTemplate(const QXAPackageQXTemplate& a,
                                          const QXAPackageQXTemplate& b);

    /// The OS template that a template is, or belongs to.
    static std::string getOSName(const QXAPackageQXTemplate& krTemplate);

private:
    bool m_compatible;
};

/// Lists the packages of templates. A function for std::accumulate: it returns `out`, or null after
/// a failure.
class PackageRPMListReader {
public:
    explicit PackageRPMListReader(const QXAPackageListOptions& options);

    /// Ignores packages that are not KR templates.
    QXL::QXLPackageList* operator()(QXL::QXLPackageList* out,
                                    const QXL::QXLPackageSP& package) const;

    /// Appends the packages of an OS template's repositories; -1 for an application template.
    /// @return 0, -1, or the library's code.
    int listAvailablePackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                 QXL::QXLPackageList& out) const;

    /// Appends the packages that the template itself names. @return 0, -1, or the library's code.
    int listIncludedPackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                QXL::QXLPackageList& out) const;

private:
    [[nodiscard]] qxtt_options packageListOptions() const;

    bool m_included;
    qxtt_options m_options;
};

/// Removes one template from the node.
struct QXTemplateRemover {
    /// @param arguments  the command line without names. @return true on failure.
    bool operator()(const QXL::QXLPackageSP& package, exec_argument_type arguments) const;
};

/// Collects the names of KR OS templates. A function for std::accumulate.
struct PackageOsNameWriter {
    /// @param _dst  not null. @return `_dst`.
    exec_argument_type* operator()(exec_argument_type* _dst,
                                   const QXL::QXLPackageSP& package) const;
};

/// Collects the KR templates that an update names (not those in files), for std::accumulate.
/// @param _dst  not null. @return `_dst`.
QXL::QXLPackageList* getPackageForUpdate(QXL::QXLPackageList* _dst,
                                         const QXL::QXLInstallationPackageSP& package);

}  // namespace QXA
