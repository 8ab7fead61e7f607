// QXAKRTemplateImpl: the technology of KR templates and of the Linux packages inside them.
#pragma once

#include "QXL/QXLEnv.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Information and lists come from the template tools library; the KR tool makes every change. A
/// change appends its records to `out` only if it succeeds.
class QXAKRTemplateImpl : public QXATemplateTypeImpl {
public:
    /// Without KR packages in the list, both work on everything.
    int clean(const QXL::QXLPackageList& pkgs) override;
    int fetch(const QXL::QXLPackageList& pkgs) override;

    /// 1 if a package cannot be read.
    int info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             QXL::QXLPackageList* out) override;
    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
             const QXL::QXLPackageManagerListOptions& opts, QXL::QXLPackageList* out) override;
    int removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// -1, and nothing is removed, if a container of this node uses one of the templates.
    int removeFromNode(const QXL::QXLPackageList& pkgs, const QXL::QXLPackageManagerOptions& opts,
                       QXL::QXLPackageList* out) override;
    int updateInVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                   const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// An empty list rebuilds the caches of all OS templates.
    int updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                     const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    int installIntoVE(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    /// Also builds the caches of the OS templates in the files.
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                      const QXL::QXLPackageManagerOptions& opts, QXL::QXLPackageList* out) override;
    bool isVeCompatible(const QXL::QXLEID& eid, const QXAEnvConfig& config) override;
    bool doesPackageSuitForOperationsInsideVE(
        std::shared_ptr<const QXL::QXLPackage> pkg) const override;

private:
    /// False, with a message, if a container uses a template or that cannot be found out.
    bool checkTemplateUsage(const QXL::QXLPackageList& packages);
    /// Appends the templates that an environment of this technology is configured with.
    void appendTemplatesOf(const QXL::QXLEnv& env, QXL::QXLPackageList& out);
};

}  // namespace QXA
