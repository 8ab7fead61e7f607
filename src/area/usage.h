// Finds the template files that areas refer to, and changes links into a template cache.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "src/area/area.h"

namespace qxfs {

/// Collects the template files (absolute paths) that an area refers to with links and indexes.
/// @return messages about what could not be read.
std::vector<std::string> collectUsed(const Area& area, std::set<std::string>& files);

/// Changes the links of an area into the template cache `oldId` to the cache `newId`, in shortcuts,
/// magic symlinks and indexes. Both identifiers must have the same length.
/// @param changed  number of changed links and indexes.
/// @return messages about what could not be changed.
std::vector<std::string> cloneArea(const Area& area, const std::string& oldId,
                                   const std::string& newId, std::uint64_t& changed);

}  // namespace qxfs
