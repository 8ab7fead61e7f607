// Opening what lies below a container's root, whose owner may have planted links that lead out.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

#include "node/support/fd.h"

namespace qxnode {

/// Opens a path as a process inside the root would see it: links are followed, absolute ones and
/// ".." start and stop at the root. An empty Fd with errno on failure.
Fd openInRoot(int root, const std::string& path, int flags, mode_t mode = 0);

/// Opens a path below `directory` that holds no link at all: ELOOP where there is one, EXDEV where
/// the path leads out.
Fd openWithoutLinks(int directory, const std::string& path, int flags, mode_t mode = 0);

/// Whole content of a regular file below a root, links followed as in openInRoot.
/// nullopt with errno; EFBIG: longer than `limit`; EINVAL: no regular file.
std::optional<std::string> readFileInRoot(int root, const std::string& path, std::size_t limit);

}  // namespace qxnode
