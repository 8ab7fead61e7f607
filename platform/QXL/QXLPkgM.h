// QXLPkgM: the package-manager interface that the agent calls.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPackageManagerOptions.h"

namespace QXL {

/// One package manager serves one request's calls, on the agent's thread. Every operation returns 0
/// on success, otherwise a PkgResult or a tool's own code. After a failure getErrorMessage()
/// usually holds the reason, but it may be empty (always so for 414): then the code is all there
/// is. After a success the message means nothing. `out` belongs to the caller, may be null, and is
/// only appended to. The order of the virtual functions is part of the interface.
class QXL_API QXLPkgM {
public:
    virtual ~QXLPkgM();

    /// Installs package files on the node, or named packages into a container; an empty list does
    /// nothing. 3501 target unresolved or failed, 414 denied, 3509 damaged file, 3510 conflict,
    /// 3511 no technology takes the files, or the packages do not suit the container.
    virtual int install(const QXLEID& eid, const QXLInstallationPackageList& pkgs,
                        QXLPackageList* out, const QXLPackageManagerOptions& opts) = 0;

    /// Removes packages; an empty list removes nothing. -1 target unresolved or a template is in
    /// use, 414 denied, 3502 packages do not suit the container.
    virtual int remove(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out,
                       const QXLPackageManagerOptions& opts) = 0;

    /// Updates packages; an empty list means everything. -1 target unresolved or failed, 414
    /// denied, 3503 packages do not suit the container.
    virtual int update(const QXLEID& eid, const QXLInstallationPackageList& pkgs,
                       QXLPackageList* out, const QXLPackageManagerOptions& opts) = 0;

    /// Lists those of `pkgs` that are there; an empty list means all. -1 target unresolved or a
    /// technology failed (`out` keeps what was listed before), 414 denied.
    virtual int list(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out,
                     const QXLPackageManagerListOptions& opts) = 0;

    /// Deletes the packages from the node's caches; an empty list means all. -1 failed, 414 denied.
    virtual int clean(const QXLPackageList& pkgs) = 0;

    /// Moves packages between technologies; no local package manager serves it (-1).
    virtual int migrate(const QXLEID& eid, const QXLPackageList& pkgs,
                        const QXLPackageManagerOptions& opts) = 0;

    /// Appends a record with every field for each package that is known; an empty list gives none.
    /// -1 target unresolved or a technology failed (`out` keeps what was read before), 414 denied.
    virtual int getInfo(const QXLEID& eid, const QXLPackageList& pkgs, QXLPackageList* out) = 0;

    /// Downloads the packages into the node's caches; an empty list means all. -1 failed, 414
    /// denied.
    virtual int fetch(const QXLPackageList& pkgs) = 0;
};

}  // namespace QXL
