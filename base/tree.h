// Looking at, walking and removing what lies below a directory that others may write to: everything
// is reached relative to a descriptor, and no symbolic link on the way is ever followed.
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

/// What identifies a file whatever its name.
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

/// Removes a file or a whole tree; one that is not there is no failure. False with errno.
bool removeTree(int directory, const std::string& name);

/// Gives an open file owner, mode and times. An owner that this process cannot give is passed over,
/// and set-id bits then with it: they would lend rights of somebody else. False with errno.
bool applyAttributes(int fd, const struct stat& attributes);

/// The same for a symbolic link, which has no mode of its own.
bool applyLinkAttributes(int directory, const std::string& name, const struct stat& attributes);

/// Visits every entry below `directory`, a directory before what it holds, names in order. Paths
/// are relative. Directories are opened without following links.
/// @return false with errno when something could not be read; `failed` then names it.
bool walkTree(int directory,
              const std::function<void(const std::string& path, const struct stat& st)>& visit,
              std::string& failed);

}  // namespace base
