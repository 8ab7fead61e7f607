// Checks the paths and links in a template package.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace QXA::tem {

/// Brings an archive's name into the form "a/b/c", without "." and without double and trailing
/// slashes. The package's own folder becomes "".
/// @throws Failure kTemDamaged for an absolute path, a "..", or a component or path that is too
///         long.
std::string checkedEntryPath(std::string_view name);

/// Refuses names that are reserved in a container's area.
/// @param path  relative to root/.
/// @throws Failure kTemDamaged.
void refuseReservedName(const std::string& path);

/// Refuses a symbolic link that leads out of the root, or that is a link string. An absolute target
/// starts at the container's root and so stays inside.
/// @param path    of the link, relative to root/.
/// @throws Failure kTemDamaged.
void refuseUnsafeLink(const std::string& path, const std::string& target);

/// Refuses a set-id file that is not listed, and a set-user-id directory.
/// @param path    relative to root/.
/// @param listed  paths of the manifest, sorted.
/// @throws Failure kTemDamaged.
void refuseSetId(const std::string& path, mode_t mode, const std::vector<std::string>& listed);

}  // namespace QXA::tem
