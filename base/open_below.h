// Opens files below a directory whose owner may have made links that lead outside.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

#include "base/fd.h"

namespace base {

/// Opens a path as a process inside the root would: links are followed, absolute links start at the
/// root, and ".." does not leave it. An empty Fd with errno on failure.
Fd openInRoot(int root, const std::string& path, int flags, mode_t mode = 0);

/// Opens a path below `directory` ("" or "." is the directory itself) without following links. An
/// empty Fd with errno on failure: ELOOP if a component is a link, EXDEV if the path leads outside.
/// `mode` is used only with O_CREAT. The path may be longer than PATH_MAX.
Fd openBelow(int directory, const std::string& path, int flags, mode_t mode = 0);

/// As openBelow(), but EXDEV also where something is mounted on the path.
Fd openOnSameMount(int directory, const std::string& path, int flags);

/// Opens the parent directory of `path`; `name` receives the last component.
Fd openParent(int directory, const std::string& path, std::string& name);

/// Opens a directory below `directory` and makes missing parts of its path. Errors as openBelow().
Fd makeBelow(int directory, const std::string& path, mode_t mode = 0755);

/// Opens a file that others may have replaced: a link as the last component is refused (ELOOP), and
/// a pipe does not block. The caller must check what kind of file it is.
Fd openSuspect(const char* path, int flags, mode_t mode = 0);

/// Opens a file to write it anew, or makes it, as openSuspect() does. Only a regular file is taken
/// (EINVAL otherwise), and only then emptied: a planted device keeps what is on it.
Fd openToRewrite(const char* path, int flags, mode_t mode = 0666);

/// As openSuspect() for a path relative to an opened directory.
Fd openSuspect(int directory, const char* path, int flags, mode_t mode = 0);

}  // namespace base
