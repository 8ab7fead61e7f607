// Decides whether an engine's lists of its repositories are still up to date.
#pragma once

#include <string>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// How long lists from a mirror are used, so that a series of requests asks the mirror once.
inline constexpr int kListsFreshSeconds = 600;

/// A text for the present state of the repositories: the place's sources, their keys, and the index
/// files of those on the host. If two texts are equal, no change is visible.
std::string repositoriesFingerprint(const Place& place);

/// True if the lists were downloaded for the present state, and for mirrors not too long ago.
bool listsAreFresh(const Place& place);

/// Records that the lists are up to date. If it cannot be written, the request goes on: the next
/// one only takes longer.
void rememberFreshLists(const Place& place);

/// Makes the next request download the lists.
void forgetFreshLists(const Place& place);

}  // namespace qxpkg
