// openat2(2), which the C library does not wrap yet; see confined.h.
#include "node/support/confined.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <cerrno>

#include "node/support/file_content.h"

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
    // Without O_NONBLOCK the open of a planted fifo would wait for a writer.
    const Fd fd = openInRoot(root, path, O_RDONLY | O_NONBLOCK);
    return fd ? readContent(fd.get(), limit) : std::nullopt;
}

}  // namespace qxnode
