// QXLPkgM: the package-manager interface that the agent calls.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPackageManagerOptions.h"

namespace QXL {

/// One package manager serves one request's calls, on the agent's thread. Every operation returns 0
/// on success and a PkgResult or a tool's own code otherwise, with the reason in getErrorMessage().
/// `out` belongs to the caller, may be null, and is only appended to. The order of the virtual
/// functions is part of the interface.
class QXL_API QXLPkgM {
public:
    virtual ~QXLPkgM();

    /// Installs packages on the node or into a container. 3501 target unresolved or failed, 414
    /// denied, 3509 damaged file, 3510 conflict, 3511 unknown collection or unsuitable packages.
    virtual int install(const QXLEID& eid, const QXLInstallationPackageList& pkgs,
                        QXLPackageList* out, const QXLPackageManagerOptions& opts) = 0;

    /// Removes packages. -1 target unresolved, 414 denied, 3502 unsuitable inside a container.
    virtual int remove(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out,
                       const QXLPackageManagerOptions& opts) = 0;

    /// Updates packages; an empty list means everything. -1 target unresolved, 414 denied, 3503
    /// unsuitable inside a container.
    virtual int update(const QXLEID& eid, const QXLInstallationPackageList& pkgs,
                       QXLPackageList* out, const QXLPackageManagerOptions& opts) = 0;

    /// Lists packages. -1 target unresolved or a technology failed, 414 denied.
    virtual int list(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out,
                     const QXLPackageManagerListOptions& opts) = 0;

    /// Empties the node's package caches of the packages. -1 failed, 414 denied.
    virtual int clean(const QXLPackageList& pkgs) = 0;

    /// Moves packages between technologies; no local package manager serves it (-1).
    virtual int migrate(const QXLEID& eid, const QXLPackageList& pkgs,
                        const QXLPackageManagerOptions& opts) = 0;

    /// Describes the packages fully. -1 target unresolved or a technology failed, 414 denied.
    virtual int getInfo(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out) = 0;

    /// Brings the packages into the node's caches. -1 failed, 414 denied.
    virtual int fetch(const QXLPackageList& pkgs) = 0;
};

}  // namespace QXL
