// Whether the lists that an engine keeps of its repositories are still worth asking.
#pragma once

#include <string>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// How long lists from a mirror count as fresh: a series of requests asks the mirror once.
inline constexpr int kListsFreshSeconds = 600;

/// Stands for the repositories as they are now: the place's sources, their keys, and the index
/// files of those that are folders of the host. Two equal texts mean that nothing changed that can
/// be seen.
std::string repositoriesFingerprint(const Place& place);

/// Whether the lists were brought up to date when the repositories were as they are now, and not
/// too long ago for a mirror.
bool listsAreFresh(const Place& place);

/// Remembers that they were. A failure to write is none of the request: it costs time, no more.
void rememberFreshLists(const Place& place);

/// The next request brings them up to date.
void forgetFreshLists(const Place& place);

}  // namespace qxpkg
