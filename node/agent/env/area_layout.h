// Making and removing a container's private area.
//
// While an area is not, or no longer, a container's, a mark stands in it: what a killed creation or
// removal left is told by it from an area that holds somebody's files, and may be cleared.
#pragma once

#include <functional>
#include <string>

namespace QXA::env {

/// Layout that this node gives to new areas: text of the area's VERSION link.
inline constexpr const char* kLayoutVersion = "005.004";
inline constexpr const char* kVersionLink = "VERSION";
inline constexpr const char* kLostFilesName = "lost_files";

/// Makes a private area beside its place, has it filled, flushes it and renames it into place,
/// marked as unfinished.
/// @param path  absolute; must not exist, unless it is marked as unfinished.
/// @param fill  gets a descriptor of the area's directory, which has its layout's version but no
///              "root": that is to be made by it or left.
/// @throws qxnode::Failure kTemConflict when there is something else, kNoCode.
void makeArea(const std::string& path, const std::function<void(int directory)>& fill);

/// Takes the mark away: the area now belongs to a container.
void finishArea(const std::string& path);

/// Marks an area as left, before its container's configuration goes. An area that is not there is
/// no failure. @throws qxnode::Failure, also for a path that is no container's area.
void leaveArea(const std::string& path);

/// Removes a marked area.
void removeArea(const std::string& path);

}  // namespace QXA::env
