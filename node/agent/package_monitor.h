// The package monitor: the agent's cache of the node's packages, of both template technologies.
#pragma once

namespace QXL {

/// The monitor's operator and its one command.
inline constexpr const char* kPackageMonitorName = "qxapkgmonitor";
inline constexpr const char* kSynchronizeLocal = "synchronize_local";

/// Rebuilds the cache from the node's templates; who reads it sees the old one or the new one.
/// It reads templates itself and never calls a package manager: it runs while one waits for it.
/// @throws std::exception with the reason; the cache is then as before.
void synchronizeLocalPackages();

}  // namespace QXL
