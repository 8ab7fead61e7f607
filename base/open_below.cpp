// openat2(2), which the C library does not wrap yet; see open_below.h.
#include "base/open_below.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

namespace base {

namespace {

Fd openResolved(int directory, const std::string& path, int flags, mode_t mode, __u64 resolve) {
    open_how how{};
    how.flags = static_cast<__u64>(flags | O_CLOEXEC);
    how.mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? mode : 0;
    how.resolve = resolve | RESOLVE_NO_MAGICLINKS;
    for (;;) {
        const long fd = syscall(SYS_openat2, directory, path.c_str(), &how, sizeof(how));
        // EAGAIN: because of a rename elsewhere the kernel could not resolve a ".."; try again.
        if (fd >= 0 || (errno != EAGAIN && errno != EINTR)) {
            return Fd(static_cast<int>(fd));
        }
    }
}

// The kernel takes at most PATH_MAX bytes at once, so a longer path is gone down in pieces.
Fd openPieces(int directory, const std::string& path, int flags, mode_t mode, __u64 resolve) {
    Fd above;
    std::size_t begin = 0;
    while (path.size() - begin >= PATH_MAX) {
        const std::size_t end = path.rfind('/', begin + PATH_MAX - 1);
        if (end == std::string::npos || end <= begin) {
            errno = ENAMETOOLONG;
            return {};
        }
        Fd next = openResolved(above ? above.get() : directory, path.substr(begin, end - begin),
                               O_PATH | O_DIRECTORY, 0, resolve);
        if (!next) {
            return next;
        }
        above = std::move(next);
        begin = end + 1;
    }
    const std::string rest = path.substr(begin);
    return openResolved(above ? above.get() : directory, rest.empty() ? "." : rest, flags, mode,
                        resolve);
}

}  // namespace

Fd openInRoot(int root, const std::string& path, int flags, mode_t mode) {
    return openResolved(root, path, flags, mode, RESOLVE_IN_ROOT);
}

Fd openBelow(int directory, const std::string& path, int flags, mode_t mode) {
    return openPieces(directory, path, flags, mode, RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS);
}

Fd openOnSameMount(int directory, const std::string& path, int flags) {
    return openPieces(directory, path, flags, 0,
                      RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV);
}

Fd openParent(int directory, const std::string& path, std::string& name) {
    const std::size_t slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    return openBelow(directory, slash == std::string::npos ? "." : path.substr(0, slash),
                     O_RDONLY | O_DIRECTORY);
}

Fd makeBelow(int directory, const std::string& path, mode_t mode) {
    Fd current = openBelow(directory, ".", O_RDONLY | O_DIRECTORY);
    std::size_t begin = 0;
    while (current && begin < path.size()) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        begin = end + 1;
        if (name.empty()) {
            continue;
        }
        if (mkdirat(current.get(), name.c_str(), mode) != 0 && errno != EEXIST) {
            return {};
        }
        current = openBelow(current.get(), name, O_RDONLY | O_DIRECTORY);
    }
    return current;
}

Fd openSuspect(const char* path, int flags, mode_t mode) {
    return openSuspect(AT_FDCWD, path, flags, mode);
}

Fd openToRewrite(const char* path, int flags, mode_t mode) {
    Fd file = openSuspect(path, flags | O_CREAT | O_NOCTTY, mode);
    struct stat st {};
    if (!file || fstat(file.get(), &st) != 0) {
        return {};
    }
    if (!S_ISREG(st.st_mode)) {
        file.close();
        errno = EINVAL;
        return {};
    }
    return ftruncate(file.get(), 0) == 0 ? std::move(file) : Fd();
}

Fd openSuspect(int directory, const char* path, int flags, mode_t mode) {
    return Fd(openat(directory, path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
}

}  // namespace base
