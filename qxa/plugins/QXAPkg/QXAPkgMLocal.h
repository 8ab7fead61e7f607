// QXAPkgMLocal: the package manager that the agent gets for a request.
#pragma once

#include <memory>
#include <vector>

#include "QXA/QXAPkgM.h"
#include "QXL/QXLPkgMLocal.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Resolves the target, checks the caller's rights, and hands the request to the technologies in
/// order; afterwards tells the agent what changed. Keeps nothing between operations.
class QXAPkgMLocal : public QXL::QXLPkgMLocal, public virtual QXAPkgM {
public:
    /// @param access the provider of the request that this object serves; may be null.
    explicit QXAPkgMLocal(QXL::QXLAccess access);

    int install(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
                QXL::QXLPackageList* out, const QXL::QXLPackageManagerOptions& opts) override;
    int remove(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs, QXL::QXLPackageList* out,
               const QXL::QXLPackageManagerOptions& opts) override;
    int update(const QXL::QXLEID& eid, const QXL::QXLInstallationPackageList& pkgs,
               QXL::QXLPackageList* out, const QXL::QXLPackageManagerOptions& opts) override;
    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs, QXL::QXLPackageList* out,
             const QXL::QXLPackageManagerListOptions& opts) override;
    int clean(const QXL::QXLPackageList& pkgs) override;
    int getInfo(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                QXL::QXLPackageList* out) override;
    int fetch(const QXL::QXLPackageList& pkgs) override;

protected:
    using TypeSP = std::shared_ptr<QXATemplateTypeImpl>;

    std::vector<TypeSP> m_types;  ///< asked in this order; fixed once the object is constructed

private:
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs, QXL::QXLPackageList* out,
                      const QXL::QXLPackageManagerOptions& opts);

    /// Tells the package monitor that the node's packages changed.
    void nodeChanged() const;
};

}  // namespace QXA
