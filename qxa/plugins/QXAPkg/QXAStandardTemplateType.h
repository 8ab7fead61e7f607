// QXAStandardTemplateImpl: the technology of standard QX templates.
#pragma once

#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// The template manager (QXATEMLocal) does the work; each call gets a new manager object.
class QXAStandardTemplateImpl : public QXATemplateTypeImpl {
public:
    /// Do nothing and return 0: standard templates have no packages to download.
    int clean(const QXL::QXLPackageList& pkgs) override;
    int fetch(const QXL::QXLPackageList& pkgs) override;

    /// 1 if the template manager fails; unknown templates are ignored.
    int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             QXL::QXLPackageList* out) override;
    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) override;
    int removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int removeFromNode(const QXL::QXLPackageList& pkgs, const QXL::QXLPackageManagerOptions& opts,
                       QXL::QXLPackageList* out) override;
    int updateInVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                   const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int installIntoVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) override;
    bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> pkg) const override;

private:
    /// False, with a message, if a container uses a template or that cannot be found out.
    bool checkTemplatesNotInUse(std::vector<QXATemplate> keys);
    /// Collects the templates that containers of this node use. @return 0, or a failure.
    int collectUsedTemplates(std::vector<QXATemplate>& out);
    /// Appends the templates that an environment of this technology is configured with.
    void appendTemplatesOf(const QXL::QXLEnv& env, std::vector<QXATemplate>& out);
};

}  // namespace QXA
