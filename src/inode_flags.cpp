// Inode attribute flags, as chattr(1) shows them.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"

namespace {

using base::Fd;

// The kernel reads and writes an int here, although the request's number says otherwise.
bool read_flags(int fd, unsigned& flags) {
    int value = 0;
    if (ioctl(fd, FS_IOC_GETFLAGS, &value) != 0) {
        return false;
    }
    flags = static_cast<unsigned>(value);
    return true;
}

}  // namespace

int get_eattr(const char* path, unsigned* flags) {
    const base::Fd fd(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return fd && read_flags(fd.get(), *flags) ? 0 : -1;
}

int set_eattr(const char* path, unsigned flags) {
    // A change must not follow a link that a container made.
    const base::Fd fd = base::openSuspect(path, O_RDONLY);
    const int value = static_cast<int>(flags);
    return fd && ioctl(fd.get(), FS_IOC_SETFLAGS, &value) == 0 ? 0 : -1;
}

int check_eattr(const char* path) {
    unsigned flags = 0;
    if (get_eattr(path, &flags) != 0) {
        return -1;
    }
    return dirindex::userFlags(flags) != 0 ? 1 : 0;
}

int copy_eattr(const char* from, const char* to) {
    struct stat st {};
    if (lstat(from, &st) != 0) {
        return -1;
    }
    if (!S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode) && !S_ISDIR(st.st_mode)) {
        return 0;
    }
    unsigned flags = 0;
    if (get_eattr(from, &flags) != 0) {
        return -1;
    }
    if (dirindex::userFlags(flags) == 0) {
        return 0;
    }
    // The target keeps the flags of its file system: clearing the one for extents, for example,
    // would make the file system move the file's data.
    unsigned target_flags = 0;
    if (get_eattr(to, &target_flags) != 0) {
        return -1;
    }
    const unsigned kept = target_flags & ~dirindex::userFlags(target_flags);
    return set_eattr(to, kept | dirindex::userFlags(flags));
}
