// How a container area refers to template files: names, limits and fixed paths.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string_view>

namespace qxfs {

/// Root of the node's template area.
inline constexpr const char* kTemplateRoot = "/qx/template";

/// Every link string begins with this.
inline constexpr std::string_view kMagicPrefix = "////";

/// The index of a directory (a regular file), or the link of a magic directory (a symbolic link).
inline constexpr const char* kIndexName = "._qxlnk_.";
inline constexpr const char* kIndexSuffix = "/._qxlnk_.";

/// A file that says which templates an area uses; never in an index.
inline constexpr const char* kPackageRefName = ".qxpkgref";

/// Most bytes of a shortcut that are read; also the limit for root and link string together.
inline constexpr std::size_t kLinkTextMax = 4096;

/// Longest name an index can hold.
inline constexpr std::size_t kNameMax = 256;

/// Permission bits with set-id and sticky bits.
inline constexpr mode_t kPermissionMask = 0xFFF;

inline constexpr mode_t kShortcutBit = S_ISVTX;
inline constexpr mode_t kIndexedBit = S_ISUID;

inline bool is_magic_link(const char* text) {
    return std::string_view(text).starts_with(kMagicPrefix);
}

inline bool is_shortcut_mode(mode_t mode) {
    return S_ISREG(mode) && (mode & kShortcutBit) != 0;
}

/// Type of an index entry: the file-type bits of the mode.
inline unsigned char entry_type(mode_t mode) {
    return (mode & S_IFMT) >> 12;
}

}  // namespace qxfs
