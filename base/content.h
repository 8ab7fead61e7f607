// Whole contents of files, read with a bound and written to the end.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace base {

/// What is left of a regular file from its position on.
/// @return nullopt with errno; EINVAL: no regular file; EFBIG: longer than `limit` bytes.
std::optional<std::string> readContent(int fd, std::size_t limit);

/// Whole content of a regular file below a root, links followed as in openInRoot().
/// nullopt with errno, as readContent().
std::optional<std::string> readFileInRoot(int root, const std::string& path, std::size_t limit);

/// Whole content of a regular file below `directory`, reached through no link. nullopt with errno,
/// as openBelow() and readContent().
std::optional<std::string> readFileBelow(int directory, const std::string& path, std::size_t limit);

/// Whole content of a regular file whose last component is no link, relative to `directory`
/// (AT_FDCWD: the working directory). nullopt with errno, as openSuspect() and readContent().
std::optional<std::string> readSuspect(int directory, const std::string& path, std::size_t limit);

/// Whole content of a file. @return nullopt with the reason in `error`; a file longer than `limit`
/// bytes, or one that is no regular file, is refused.
std::optional<std::string> readFile(const std::string& path, std::size_t limit, std::string& error);

/// Writes all of it at the file's position. False with errno.
bool writeContent(int fd, std::string_view content);

}  // namespace base
