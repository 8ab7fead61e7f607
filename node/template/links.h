// How a container's area refers to a file of the template area; the checker uses the same form.
#pragma once

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

namespace QXA::tem {

/// A link string begins with this; the rest is a path below the template area.
inline constexpr std::string_view kMagicPrefix = "////";

/// Longest content of a shortcut.
inline constexpr std::size_t kMaxShortcut = 4096;

/// Names that are reserved in a container's area, so that templates must not have them.
inline constexpr std::string_view kIndexName = "._qxlnk_.";
inline constexpr std::string_view kReferenceName = ".qxpkgref";

/// Longest path below a template's root: together with the template area's path and the template's
/// name and version it must fit into one path and one shortcut.
inline constexpr std::size_t kMaxEntryPath = PATH_MAX - 512;

/// The content of a shortcut to a template's file.
inline std::string shortcutText(const std::string& name, const std::string& version,
                                const std::string& path) {
    return std::string(kMagicPrefix) + name + "/" + version + "/root/" + path;
}

}  // namespace QXA::tem
