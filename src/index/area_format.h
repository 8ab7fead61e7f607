// How a container area refers to template files: the names, limits and fixed paths of it, each
// once.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string_view>

namespace qxfs {

/// Root of the node's template area.
inline constexpr const char* kTemplateRoot = "/qx/template";

/// What every magic link string begins with.
inline constexpr std::string_view kMagicPrefix = "////";

/// Entry of a directory that is its index (regular file) or makes it a magic link (symbolic link).
inline constexpr const char* kIndexName = "._qxlnk_.";
inline constexpr const char* kIndexSuffix = "/._qxlnk_.";

/// Entry that notes which templates an area uses; never listed in an index.
inline constexpr const char* kPackageRefName = ".qxpkgref";

/// Most bytes of a shortcut that count; also the room for root and link text together.
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
