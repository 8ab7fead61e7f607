// Whole contents of open files, read with a bound and written to the end.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qxnode {

/// What is left of a regular file from its position on.
/// @return nullopt with errno; EINVAL: no regular file; EFBIG: longer than `limit` bytes.
std::optional<std::string> readContent(int fd, std::size_t limit);

/// Writes all of it at the file's position. False with errno.
bool writeContent(int fd, std::string_view content);

}  // namespace qxnode
