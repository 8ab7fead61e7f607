// Which template files areas refer to, and links that name a template cache.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "src/area/area.h"

namespace qxfs {

/// Template files (absolute paths) that an area refers to through links and indexes.
/// @return messages about what could not be read.
std::vector<std::string> collectUsed(const Area& area, std::set<std::string>& files);

/// Gives the links of an area that lie in the template cache `oldId` the cache `newId`, in
/// shortcuts, magic symlinks and indexes. Both identifiers have the same length.
/// @param changed  counts changed links and indexes.
/// @return messages about what could not be changed.
std::vector<std::string> cloneArea(const Area& area, const std::string& oldId,
                                   const std::string& newId, std::uint64_t& changed);

}  // namespace qxfs
