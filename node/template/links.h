// How a container's area refers to a file of the template area, as the checker reads it too.
#pragma once

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

namespace QXA::tem {

/// A text that begins so names a file of the template area by what follows.
inline constexpr std::string_view kMagicPrefix = "////";

/// Longest content of a shortcut.
inline constexpr std::size_t kMaxShortcut = 4096;

/// Names that mean something in a container's area and so cannot be a template's.
inline constexpr std::string_view kIndexName = "._qxlnk_.";
inline constexpr std::string_view kReferenceName = ".qxpkgref";

/// Longest path below a template's root: with the template area's path, the template's name and
/// version in front it still makes one path and one shortcut.
inline constexpr std::size_t kMaxEntryPath = PATH_MAX - 512;

/// What a shortcut to a template's file holds.
inline std::string shortcutText(const std::string& name, const std::string& version,
                                const std::string& path) {
    return std::string(kMagicPrefix) + name + "/" + version + "/root/" + path;
}

}  // namespace QXA::tem
