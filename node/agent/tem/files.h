// Files below a directory that others may write to: everything is opened relative to a descriptor
// and no symbolic link on the way is ever followed.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "node/support/fd.h"

namespace QXA::tem {

using qxnode::Fd;

/// What identifies a file whatever its name.
struct FileId {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const FileId&) const = default;
};

/// Opens `path` below `directory`. Gives -1 with ELOOP for a link anywhere in the path, and with
/// EXDEV when it leads out. Without O_CREAT `mode` is ignored.
Fd openBelow(int directory, const std::string& path, int flags, mode_t mode = 0);

/// Opens the directory that holds `path`; `name` gets the last component.
Fd openParent(int directory, const std::string& path, std::string& name);

/// lstat below `directory`; nullopt with errno.
std::optional<struct stat> statBelow(int directory, const std::string& path);

/// Target of a symbolic link below `directory`; nullopt with errno. Longer than PATH_MAX is
/// ENAMETOOLONG.
std::optional<std::string> readLinkBelow(int directory, const std::string& path);

/// Whole content of a regular file below `directory`; nullopt with errno (EFBIG: longer than
/// `limit`; EINVAL: no regular file).
std::optional<std::string> readFileBelow(int directory, const std::string& path, std::size_t limit);

/// Names in a directory, sorted, without "." and ".."; nullopt with errno.
std::optional<std::vector<std::string>> namesIn(int directory);

/// Opens a directory below `directory`, making what is missing of it (mode 0755).
Fd makeDirectories(int directory, const std::string& path);

/// Removes a file or a whole tree; one that is not there is no failure. False with errno.
bool removeTree(int directory, const std::string& name);

/// Writes a file beside, flushes it, and renames it to `name`. Writers are alone under their lock.
/// False with errno, and nothing is left beside; when only the directory could not be flushed, the
/// file is in place all the same.
bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode = 0644);

/// Takes the first line of a file of ours, which must be `heading`: its name and version, as in
/// "qxtem-record 1". @throws Failure kTemFailed, which says so of a newer version.
void takeHeading(std::istream& lines, const std::string& heading, const std::string& source);

/// Flushes a directory's entries; false with errno.
bool flushDirectory(int directory);

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

}  // namespace QXA::tem
