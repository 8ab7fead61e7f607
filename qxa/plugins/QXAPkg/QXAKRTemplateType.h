// QXAKRTemplateImpl: the technology of KR templates and of the Linux packages inside them.
#pragma once

#include "QXL/QXLEnv.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Information and lists come from the template tools library; every change is made by the KR tool.
/// Records that a change reports reach `out` only when it succeeds.
class QXAKRTemplateImpl : public QXATemplateTypeImpl {
public:
    /// Also run for a request without KR packages, which stands for all.
    int clean(const QXL::QXLPackageList& pkgs) override;
    int fetch(const QXL::QXLPackageList& pkgs) override;

    /// 1 when a package cannot be read.
    int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             QXL::QXLPackageList* out) override;
    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) override;
    int removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// Refused for templates that a container of this node uses.
    int removeFromNode(const QXL::QXLPackageList& pkgs, const QXL::QXLPackageManagerOptions& opts,
                       QXL::QXLPackageList* out) override;
    int updateInVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                   const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// Without packages, the caches of all OS templates are renewed.
    int updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int installIntoVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// The OS templates that come with the files get their caches built.
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) override;
    bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> pkg) const override;

private:
    bool checkTemplateUsage(const QXL::QXLPackageList& packages);
    void appendTemplatesOf(const QXL::QXLEnv& env, QXL::QXLPackageList& out);
};

}  // namespace QXA
