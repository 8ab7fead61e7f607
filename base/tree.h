// Examines, walks and removes files below a directory that others may write to. Everything is
// opened from a descriptor, and no symbolic link is ever followed.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "base/fd.h"

namespace base {

/// Identifies a file independently of its name.
struct FileId {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const FileId&) const = default;
};

/// lstat below `directory`; nullopt with errno.
std::optional<struct stat> statBelow(int directory, const std::string& path);

/// Target of a symbolic link below `directory`; nullopt with errno. Longer than PATH_MAX is
/// ENAMETOOLONG.
std::optional<std::string> readLinkBelow(int directory, const std::string& path);

/// Names in a directory, sorted, without "." and ".."; nullopt with errno.
std::optional<std::vector<std::string>> namesIn(int directory);

/// Removes a file or a whole tree; it is no error if it does not exist. False with errno.
bool removeTree(int directory, const std::string& name);

/// Sets owner, mode and times of an open file. If this process may not set the owner, it sets no
/// set-id bits either: they would give the rights of another user. False with errno.
bool applyAttributes(int fd, const struct stat& attributes);

/// The same for a symbolic link, which has no mode.
bool applyLinkAttributes(int directory, const std::string& name, const struct stat& attributes);

/// Visits every entry below `directory`, sorted by name, a directory before its entries. Paths are
/// relative. Links are not followed.
/// @return false with errno if something cannot be read; `failed` then names it.
bool walkTree(int directory,
              const std::function<void(const std::string& path, const struct stat& st)>& visit,
              std::string& failed);

}  // namespace base
