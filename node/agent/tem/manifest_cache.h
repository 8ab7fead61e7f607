// Manifests that this process has read, so that a listing followed by a query for each template
// parses each manifest once.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "node/agent/tem/manifest.h"

namespace QXA::tem {

/// The manifest of an open template directory.
/// @param directory  "<name>/<version>".
/// @param path       its path in messages.
/// @throws Failure when it cannot be read or is not right.
std::shared_ptr<const Manifest> cachedManifest(int directory, const std::string& path);

}  // namespace QXA::tem
