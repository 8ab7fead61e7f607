// The node's cache of downloaded packages: one store an OS template, which fetching fills and from
// which containers are served.
#pragma once

#include <functional>
#include <string>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Puts what was fetched for the place's OS template where its engine looks for downloads. What is
/// there already stays. @throws Failure.
void seedDownloads(const Place& place);

/// Removes downloaded package files.
/// @param store  of an OS template or a container.
/// @param drop   decides by a package's name.
/// @return how many files went. @throws Failure.
int removeDownloads(const std::string& store, const std::function<bool(const std::string&)>& drop);

/// Every store that holds downloads: of OS templates and of containers.
std::vector<std::string> storesWithDownloads();

}  // namespace qxpkg
