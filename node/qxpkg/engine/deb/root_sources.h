// Package sources of a built tree.
#pragma once

#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Gives a deb tree the sources that containers can reach: network repositories with their keys,
/// and the host's own source files. Sources on this node are removed, and so are the host's name
/// and resolver.
/// @param configuration  from debConfiguration(). @throws Failure.
void writeRootSources(const Place& place, const std::vector<ConfigurationFile>& configuration);

}  // namespace qxpkg
