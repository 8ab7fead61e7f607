// QXAPkgMLocal: the package manager that the agent gets for a request.
#pragma once

#include <memory>
#include <vector>

#include "QXA/QXAPkgM.h"
#include "QXL/QXLPkgMLocal.h"
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

namespace QXA {

/// Resolves the target, checks the caller's rights, passes the request to the technologies in
/// order, and then tells the agent what changed. It keeps no state between operations.
class QXAPkgMLocal : public QXL::QXLPkgMLocal, public virtual QXAPkgM {
public:
    /// @param access  the provider of the request that this object serves; may be null.
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

    std::vector<TypeSP> m_types;  ///< asked in this order; only the constructor changes it

private:
    /// Offers the files to one technology after the other, until one does not answer 3511.
    int installOnNode(const QXL::QXLInstallationPackageList& pkgs, QXL::QXLPackageList* out,
                      const QXL::QXLPackageManagerOptions& opts);

    /// Tells the package monitor that the node's packages changed.
    void nodeChanged() const;
};

}  // namespace QXA
