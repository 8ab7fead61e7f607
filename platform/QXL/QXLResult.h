// Result codes of the package-manager interface and of the environment resolution.
#pragma once

namespace QXL {

/// Results of the operations of QXLPkgM. Any other non-zero value is the unchanged code of the
/// technology or tool that failed.
enum PkgResult : int {
    kPkgOk = 0,                    ///< done, or nothing to do
    kPkgFailed = -1,               ///< target unresolved (but for install), or a technology failed
    kPkgInfoUnreadable = 1,        ///< info: the information of one package could not be read
    kPkgAccessDenied = 414,        ///< the caller lacks the right for this operation
    kPkgInstallFailed = 3501,      ///< install: target unresolved, or the installation failed
    kPkgRemoveUnsuitable = 3502,   ///< remove: packages unsuitable inside a container
    kPkgUpdateUnsuitable = 3503,   ///< update: packages unsuitable inside a container
    kPkgDamaged = 3509,            ///< install: a template file is damaged or unsafe
    kPkgConflict = 3510,           ///< install: already there, in conflict, or refused by the tool
    kPkgUnknownCollection = 3511,  ///< install: no technology takes the files, or unsuitable
};

/// Results of resolving an EID to a container's configuration.
enum EnvResult : int {
    kEnvContainer = 0,    ///< a container of this node; its configuration was read
    kEnvUnknown = 317,    ///< no such EID
    kEnvIsNode = 410,     ///< the EID is the node's; not an error
    kEnvNoCache = 420,    ///< there is no environment cache
    kEnvNotServed = 428,  ///< a container of another node, or of another technology
};

}  // namespace QXL
