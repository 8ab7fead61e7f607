// Whole contents of files; see content.h.
#include "base/content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/open_below.h"
#include "base/system_error.h"

namespace base {

std::optional<std::string> readContent(int fd, std::size_t limit) {
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        return std::nullopt;
    }
    if (!S_ISREG(st.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    // Read until the end and do not rely on the size: it is 0 for files of /proc.
    std::string content;
    content.reserve(std::min(limit, static_cast<std::size_t>(st.st_size)));
    char block[16384];
    for (;;) {
        const ssize_t got = read(fd, block, sizeof(block));
        if (got == 0) {
            return content;
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return std::nullopt;
        }
        if (static_cast<std::size_t>(got) > limit - content.size()) {
            errno = EFBIG;
            return std::nullopt;
        }
        content.append(block, static_cast<std::size_t>(got));
    }
}

std::optional<std::string> readFileInRoot(int root, const std::string& path, std::size_t limit) {
    // Without O_NONBLOCK the open of a planted fifo would wait for a writer.
    const Fd fd = openInRoot(root, path, O_RDONLY | O_NONBLOCK);
    return fd ? readContent(fd.get(), limit) : std::nullopt;
}

std::optional<std::string> readFileBelow(int directory, const std::string& path,
                                         std::size_t limit) {
    const Fd fd = openBelow(directory, path, O_RDONLY | O_NONBLOCK);
    return fd ? readContent(fd.get(), limit) : std::nullopt;
}

std::optional<std::string> readSuspect(int directory, const std::string& path, std::size_t limit) {
    const Fd fd = openSuspect(directory, path.c_str(), O_RDONLY);
    return fd ? readContent(fd.get(), limit) : std::nullopt;
}

std::optional<std::string> readFile(const std::string& path, std::size_t limit,
                                    std::string& error) {
    // Without O_NONBLOCK the open of a planted fifo would wait for a writer.
    const Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::optional<std::string> content = fd ? readContent(fd.get(), limit) : std::nullopt;
    const int reason = errno;
    if (!content && fd && errno == EINVAL) {
        error = "cannot read '" + path + "': not a regular file";
    } else if (!content && fd && errno == EFBIG) {
        error = "cannot read '" + path + "': longer than " + std::to_string(limit) + " bytes";
    } else if (!content) {
        error = systemError("read", path);
    }
    errno = reason;
    return content;
}

bool writeContent(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace base
