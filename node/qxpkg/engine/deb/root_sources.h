// Where the packages of a built tree say that they come from.
#pragma once

#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Gives a deb tree the sources that can be reached from a container: repositories of the network,
/// with their keys, and the host's own source files. What the tree was built from otherwise is
/// known to this node only and goes, as do the host's name and resolver.
/// @param configuration  as debConfiguration() gives it. @throws Failure.
void writeRootSources(const Place& place, const std::vector<ConfigurationFile>& configuration);

}  // namespace qxpkg
