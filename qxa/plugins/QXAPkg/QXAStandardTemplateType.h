// QXAStandardTemplateImpl: the technology of standard QX templates, which the template manager
// keeps.
#pragma once

#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Every call into the template manager goes to a fresh QXATEMLocal.
class QXAStandardTemplateImpl : public QXATemplateTypeImpl {
public:
    /// Standard templates have no packages to fetch and no cache of them: 0.
    int clean(const QXL::QXLPackageList& pkgs) override;
    int fetch(const QXL::QXLPackageList& pkgs) override;

    /// 1 when a template cannot be asked for; unknown ones are passed over.
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
    bool checkTemplatesNotInUse(std::vector<QXATemplate> keys);
    int collectUsedTemplates(std::vector<QXATemplate>& out);
    void appendTemplatesOf(const QXL::QXLEnv& env, std::vector<QXATemplate>& out);
};

}  // namespace QXA
