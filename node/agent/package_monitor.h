// The package monitor: the agent's cache of the node's packages, of both template technologies.
#pragma once

namespace QXL {

/// The monitor's operator and its one command.
inline constexpr const char* kPackageMonitorName = "qxapkgmonitor";
inline constexpr const char* kSynchronizeLocal = "synchronize_local";

/// Rebuilds the cache from the node's templates; readers see the old or the new one. It reads the
/// templates itself and never calls a package manager, because one is waiting for it.
/// @throws std::exception with the reason; the cache is then unchanged.
void synchronizeLocalPackages();

}  // namespace QXL
