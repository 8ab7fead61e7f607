// openat2(2), which the C library does not wrap yet; see confined.h.
#include "node/support/confined.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

namespace qxnode {

namespace {

Fd openResolved(int directory, const std::string& path, int flags, mode_t mode, __u64 resolve) {
    open_how how{};
    how.flags = static_cast<__u64>(flags | O_CLOEXEC);
    how.mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? mode : 0;
    how.resolve = resolve | RESOLVE_NO_MAGICLINKS;
    for (;;) {
        const long fd = syscall(SYS_openat2, directory, path.c_str(), &how, sizeof(how));
        // EAGAIN: a rename elsewhere made the kernel unsure about a ".."; asking again is the cure.
        if (fd >= 0 || (errno != EAGAIN && errno != EINTR)) {
            return Fd(static_cast<int>(fd));
        }
    }
}

}  // namespace

Fd openInRoot(int root, const std::string& path, int flags, mode_t mode) {
    return openResolved(root, path, flags, mode, RESOLVE_IN_ROOT);
}

Fd openWithoutLinks(int directory, const std::string& path, int flags, mode_t mode) {
    return openResolved(directory, path, flags, mode, RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS);
}

std::optional<std::string> readFileInRoot(int root, const std::string& path, std::size_t limit) {
    const Fd fd = openInRoot(root, path, O_RDONLY | O_NONBLOCK);
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0) {
        return std::nullopt;
    }
    if (!S_ISREG(st.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    std::string content;
    char block[16384];
    for (;;) {
        const ssize_t got = read(fd.get(), block, sizeof(block));
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

}  // namespace qxnode
