// Makes and removes private areas of containers.
//
// An area that does not belong to a container yet, or no longer, has a mark, so that the remains of
// a killed creation or removal can be removed safely.
#pragma once

#include <functional>
#include <string>

namespace QXA::env {

/// Layout of new areas: the text of the area's VERSION link.
inline constexpr const char* kLayoutVersion = "005.004";
inline constexpr const char* kVersionLink = "VERSION";
inline constexpr const char* kLostFilesName = "lost_files";

/// Makes a private area under a temporary name, calls `fill`, flushes it and renames it to its
/// place. It is then marked as unfinished.
/// @param path  absolute; must not exist, unless it is marked as unfinished.
/// @param fill  called with a descriptor of the area's directory, which has a VERSION but no
///              "root"; `fill` may make one.
/// @throws qxnode::Failure kTemConflict if something else is there, kNoCode.
void makeArea(const std::string& path, const std::function<void(int directory)>& fill);

/// Removes the mark: the area now belongs to a container.
void finishArea(const std::string& path);

/// Marks an area, before its container's configuration is removed. It is no error if the area does
/// not exist. @throws qxnode::Failure, also if the path is not a container's area.
void leaveArea(const std::string& path);

/// Removes a marked area.
void removeArea(const std::string& path);

}  // namespace QXA::env
