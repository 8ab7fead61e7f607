// Reads whole files, with a size limit, and writes whole texts.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace base {

/// Reads a regular file from its position to the end.
/// @return nullopt with errno; EINVAL: not a regular file; EFBIG: longer than `limit` bytes.
std::optional<std::string> readContent(int fd, std::size_t limit);

/// Reads a regular file below a root; links are followed as in openInRoot().
/// @return nullopt with errno, as readContent().
std::optional<std::string> readFileInRoot(int root, const std::string& path, std::size_t limit);

/// Reads a regular file below `directory` without following links. @return nullopt with errno, as
/// openBelow() and readContent().
std::optional<std::string> readFileBelow(int directory, const std::string& path, std::size_t limit);

/// Whole content of a regular file whose last component is no link, relative to `directory`
/// (AT_FDCWD: the working directory). nullopt with errno, as openSuspect() and readContent().
std::optional<std::string> readSuspect(int directory, const std::string& path, std::size_t limit);

/// Reads a whole file. @return nullopt with the reason in `error` and errno, also for a file longer
/// than `limit` bytes and for one that is not a regular file.
std::optional<std::string> readFile(const std::string& path, std::size_t limit, std::string& error);

/// Writes the whole text at the file's position. False with errno.
bool writeContent(int fd, std::string_view content);

}  // namespace base
