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

/// Tells whether a listed template is one that was asked for.
class KRTemplateSearcher {
public:
    explicit KRTemplateSearcher(const QXAPackageListOptions& options)
        : m_compatible(options.listCompatible()) {}

    /// A null request matches nothing.
    bool operator()(const QXL::QXLPackageSP& requested, const QXAPackageQXTemplate& listed) const;

    /// The same name of the same OS template.
    static bool matchKRTemplate(const QXL::QXLPackage& a, const QXL::QXLPackage& b);

    /// An OS template and an application template match when one belongs to the other; two of a
    /// kind, when they are the same.
    static bool matchCompatibleKRTemplate(const QXAPackageQXTemplate& a,
                                          const QXAPackageQXTemplate& b);

    /// The OS template that a template is, or belongs to.
    static std::string getOSName(const QXAPackageQXTemplate& krTemplate);

private:
    bool m_compatible;
};

/// Lists the packages of templates. An accumulator: it returns the list to go on with, null to
/// stop.
class PackageRPMListReader {
public:
    explicit PackageRPMListReader(const QXAPackageListOptions& options);

    /// What is not a KR template is passed over.
    QXL::QXLPackageList* operator()(QXL::QXLPackageList* out,
                                    const QXL::QXLPackageSP& package) const;

    /// The packages that an OS template's repositories offer; an application template has none.
    /// @return 0, -1, or the library's code.
    int listAvailablePackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                 QXL::QXLPackageList& out) const;

    /// The packages that the template itself names. @return 0, -1, or the library's code.
    int listIncludedPackageRPMs(const QXAPackageQXTemplate& krTemplate,
                                QXL::QXLPackageList& out) const;

private:
    [[nodiscard]] qxtt_options packageListOptions() const;

    bool m_included;
    qxtt_options m_options;
};

/// Removes one template from the node.
struct QXTemplateRemover {
    /// @param arguments  the command line without names. @return true for a failure.
    bool operator()(const QXL::QXLPackageSP& package, exec_argument_type arguments) const;
};

/// Collects the names of KR OS templates. An accumulator.
struct PackageOsNameWriter {
    /// @param _dst  not null. @return `_dst`.
    exec_argument_type* operator()(exec_argument_type* _dst,
                                   const QXL::QXLPackageSP& package) const;
};

/// Collects the KR templates that an update names rather than brings as files. An accumulator.
/// @param _dst  not null. @return `_dst`.
QXL::QXLPackageList* getPackageForUpdate(QXL::QXLPackageList* _dst,
                                         const QXL::QXLInstallationPackageSP& package);

}  // namespace QXA
