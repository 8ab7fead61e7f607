// QXAStandardQXTemplateEx: the record of a standard template.
#pragma once

#include <string>

#include "QXA/QXAPackageMessages.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXA/QXATemplate.h"

namespace QXA {

/// The record of a standard template, with its base OS templates and packages.
class QXAStandardQXTemplateEx : public QXAPackageQXTemplateStd {
public:
    QXAStandardQXTemplateEx() = default;

    /// Made from the configuration of one version and the listed version.
    QXAStandardQXTemplateEx(const QXATemplateConfigInfo& info, const QXAPackageVersion& ver);

    /// True if both have the same platform and are compatible: an application template and an OS
    /// template that it is made for; two OS templates with the same name and architecture and a
    /// common technology; two application templates with the same name.
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
