// The record of intent of a change: what was installed when it began. It is written before an
// engine starts and removed when the engine has ended by itself, so that its presence means a kill.
#pragma once

#include <optional>

#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// @throws Failure.
void writeIntent(const Place& place, const PackageList& installed);

/// What stood in the record; nullopt when no change was interrupted, or nothing can be
/// told of it.
std::optional<PackageList> readIntent(const Place& place);

void clearIntent(const Place& place);

}  // namespace qxpkg
