// Tells the layout of a container's area by the place of its VERSION link.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "qxctl/qxctl.h"

namespace {

constexpr int kLayoutPlain = 3;

// Only what can be told by looking without following: an "fs" that is a link would lead the reader
// out of the area.
bool holds_version_below_fs(int area) {
    struct stat st {};
    if (fstatat(area, "fs", &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(st.st_mode)) {
        return false;
    }
    return fstatat(area, "fs/VERSION", &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode);
}

}  // namespace

int qxctl_env_layout_version(const char* path) {
    if (path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    const int area = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (area < 0) {
        return -1;
    }
    const int layout = holds_version_below_fs(area) ? QXCTL_LAYOUT_FS : kLayoutPlain;
    close(area);
    return layout;
}
