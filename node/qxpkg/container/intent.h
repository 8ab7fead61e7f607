// The record of intent of a change: the packages that were installed at its beginning. It is
// written before an engine starts and removed after the engine has ended; if it exists, the run was
// killed.
#pragma once

#include <optional>

#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// @throws Failure.
void writeIntent(const Place& place, const PackageList& installed);

/// The content of the record; nullopt if no change was interrupted or the record cannot be read.
std::optional<PackageList> readIntent(const Place& place);

void clearIntent(const Place& place);

}  // namespace qxpkg
