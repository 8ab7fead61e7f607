// QXAStandardQXTemplateEx: the record of a standard template.
#pragma once

#include <string>

#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXATemplate.h"

namespace QXA {

/// A package record with a standard template's base OS templates and packages.
class QXAStandardQXTemplateEx : public QXAPackageQXTemplateStd {
public:
    QXAStandardQXTemplateEx() = default;

    /// Built from the configuration of one version and the version as it was listed.
    QXAStandardQXTemplateEx(const QXATemplateConfigInfo& info, const QXAPackageVersion& ver);

    /// True when the two templates go together: an application template with an OS template that it
    /// is made for, two OS templates of one name and architecture that share a technology, two
    /// application templates of one name; both of the same platform.
    [[nodiscard]] bool compatible(const QXAStandardQXTemplateEx& other) const;

    QXL::QXLPackageList baseOsTemplates;  ///< OS templates that an application template is made for
    QXL::QXLPackageList packages;         ///< packages of the template
    std::string versionDetail;
};

using QXAStandardQXTemplateExFactory =
    QXL::QXLDerivedParserFactory<QXAStandardQXTemplateEx, QXL::QXLPackage,
                                 QXAPackageQXTemplateStd::Reader, QXAPackageQXTemplateStd::Writer>;

/// Reads and writes these records in agent messages while the library is loaded.
extern QXAStandardQXTemplateExFactory factoryQXAStandardQXTemplateEx;

}  // namespace QXA
