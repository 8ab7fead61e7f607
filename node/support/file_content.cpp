// Whole contents of open files; see file_content.h.
#include "node/support/file_content.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qxnode {

std::optional<std::string> readContent(int fd, std::size_t limit) {
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        return std::nullopt;
    }
    if (!S_ISREG(st.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    // By what comes and not by the size: files of /proc have none.
    std::string content;
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

}  // namespace qxnode
