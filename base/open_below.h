// Opening what lies below a directory whose owner may have planted links that lead out.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

#include "base/fd.h"

namespace base {

/// Opens a path as a process inside the root would see it: links are followed, absolute ones and
/// ".." start and stop at the root. An empty Fd with errno on failure.
Fd openInRoot(int root, const std::string& path, int flags, mode_t mode = 0);

/// Opens a path below `directory` ("" or "." is the directory itself) that holds no link at all: an
/// empty Fd with ELOOP where any component is one, EXDEV where the path leads out. `mode` counts
/// with O_CREAT only. The path may be longer than PATH_MAX.
Fd openBelow(int directory, const std::string& path, int flags, mode_t mode = 0);

/// As openBelow(), but EXDEV also where something is mounted on the path.
Fd openOnSameMount(int directory, const std::string& path, int flags);

/// Opens the directory that holds `path`; `name` gets the last component.
Fd openParent(int directory, const std::string& path, std::string& name);

/// Opens a directory below `directory`, making what of its path is missing. Errors as openBelow().
Fd makeBelow(int directory, const std::string& path, mode_t mode = 0755);

/// Opens the path of a file that others may have replaced: a link as the last component is refused
/// (ELOOP), a pipe does not block. The file must be looked at before it is trusted.
Fd openSuspect(const char* path, int flags, mode_t mode = 0);

/// Opens a file to write it anew, or makes it, as openSuspect() does. Only a regular file is taken
/// (EINVAL otherwise), and only then emptied: a planted device keeps what is on it.
Fd openToRewrite(const char* path, int flags, mode_t mode = 0666);

/// As openSuspect() for a path relative to an opened directory.
Fd openSuspect(int directory, const char* path, int flags, mode_t mode = 0);

}  // namespace base
