// The node's cache of downloaded packages: one store per OS template, filled by `fetch` and used
// for its containers.
#pragma once

#include <functional>
#include <string>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Copies packages that were fetched for the place's OS template into the folder where its engine
/// looks for downloads. Existing files stay. @throws Failure.
void seedDownloads(const Place& place);

/// Removes downloaded package files.
/// @param store  of an OS template or a container.
/// @param drop   decides by a package's name.
/// @return the number of removed files. @throws Failure.
int removeDownloads(const std::string& store, const std::function<bool(const std::string&)>& drop);

/// All stores with downloads: of OS templates and of containers.
std::vector<std::string> storesWithDownloads();

}  // namespace qxpkg
