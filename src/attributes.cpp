// Sets owner, permission bits and times of an entry without following links.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>

#include "src/index/area_format.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"

namespace {

// System calls of the container kernel that change a symbolic link itself.
constexpr long kLchmodCall = 516;
constexpr long kLutimeCall = 517;

int set_times(const char* path, const struct stat& st) {
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    return utimensat(AT_FDCWD, path, times, AT_SYMLINK_NOFOLLOW);
}

// A kernel without the two calls ignores the permission bits of a link, so they are not set.
int set_link_mode(const char* path, mode_t mode) {
    const long result = syscall(kLchmodCall, path, mode);
    return result == 0 || errno == ENOSYS ? 0 : -1;
}

int set_link_times(const char* path, const struct stat& st) {
    const struct utimbuf times = {.actime = st.st_atime, .modtime = st.st_mtime};
    if (syscall(kLutimeCall, path, &times) == 0) {
        return 0;
    }
    return errno == ENOSYS ? set_times(path, st) : -1;
}

}  // namespace

int set_attr(const char* path, const struct stat* st) {
    if (lchown(path, st->st_uid, st->st_gid) != 0) {
        return -1;
    }
    const mode_t mode = st->st_mode & qxfs::kPermissionMask;
    if (S_ISLNK(st->st_mode)) {
        return set_link_mode(path, mode) == 0 && set_link_times(path, *st) == 0 ? 0 : -1;
    }
    return fchmodat(AT_FDCWD, path, mode, AT_SYMLINK_NOFOLLOW) == 0 && set_times(path, *st) == 0
               ? 0
               : -1;
}

int compare_stat(const struct stat* a, const struct stat* b) {
    return dirindex::sameAttributes(*a, *b) ? 0 : 1;
}
