// Shortcuts: sticky regular files whose content is a magic link string.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "src/index/area_format.h"
#include "src/qxfsutil.h"

namespace {

using base::Fd;

// Sets owner, permission bits and times, in this order: a change of owner would clear set-id bits.
// Returns the name of the step that failed, with errno, or null.
const char* set_attributes(int fd, const struct stat& st) {
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    if (fchown(fd, st.st_uid, st.st_gid) != 0) {
        return "chown";
    }
    if (fchmod(fd, st.st_mode & qxfs::kPermissionMask) != 0) {
        return "chmod";
    }
    return futimens(fd, times) != 0 ? "utime" : nullptr;
}

// Removes a temporary file unless it has been renamed into its place.
class Temporary {
public:
    explicit Temporary(std::string path) : path_(std::move(path)) {}
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary() {
        if (made_) {
            const int saved = errno;
            unlink(path_.c_str());
            errno = saved;
        }
    }

    base::Fd make() {
        base::Fd fd(mkostemp(path_.data(), O_CLOEXEC));
        made_ = static_cast<bool>(fd);
        return fd;
    }
    bool rename_to(const char* target) {
        if (rename(path_.c_str(), target) != 0) {
            return false;
        }
        made_ = false;
        return true;
    }
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
    bool made_ = false;
};

}  // namespace

int create_shortcut(const char* path, const char* text, size_t length, const struct stat* st) {
    base::Fd fd = base::openSuspect(path, O_RDWR | O_CREAT | O_TRUNC, 0666);
    if (!fd) {
        werror(errno, "Can't create shortcut '%s/%s'", current_path, path);
        return 1;
    }
    if (!base::writeContent(fd.get(), {text, length})) {
        werror(errno, "Can't write shortcut '%s/%s'", current_path, path);
        return 1;
    }
    const char* failed = set_attributes(fd.get(), *st);
    if (failed != nullptr) {
        werror(errno, "Error %s '%s/%s'", failed, current_path, path);
        return 1;
    }
    if (fd.close() != 0) {
        werror(errno, "Can't write shortcut '%s/%s'", current_path, path);
        return 1;
    }
    return 0;
}

int make_shortcut(const char* path, const char* text, size_t length, const struct stat* st) {
    Temporary temporary(std::string(path) + "-XXXXXX");
    base::Fd fd = temporary.make();
    if (!fd) {
        werror(errno, "Can't create shortcut '%s'", path);
        return 1;
    }
    if (!base::writeContent(fd.get(), {text, length})) {
        werror(errno, "Can't write shortcut '%s'", path);
        return 1;
    }
    // Set before the rename, so that no half-made shortcut is ever seen under the name; a failure
    // is reported after it, as the text is good all the same. The flush comes first for the same
    // reason: after a power cut the name holds the old entry or the whole new one.
    const char* failed = set_attributes(fd.get(), *st);
    const int failed_errno = errno;
    if (fsync(fd.get()) != 0 || fd.close() != 0) {
        werror(errno, "Can't write shortcut '%s'", path);
        return 1;
    }
    if (!temporary.rename_to(path)) {
        werror(errno, "Can't rename '%s' to '%s'", temporary.path(), path);
        return 1;
    }
    if (failed != nullptr) {
        werror(failed_errno, "Error %s '%s'", failed, path);
        return 1;
    }
    return 0;
}

int read_shortcut(const char* path, char* buffer, size_t size) {
    base::Fd fd = base::openSuspect(path, O_RDONLY);
    if (!fd) {
        return -1;
    }
    char text[qxfs::kLinkTextMax];
    const ssize_t length = read(fd.get(), text, sizeof(text));
    if (length < 0) {
        return -2;
    }
    const auto used = static_cast<size_t>(length);
    if (used > size) {
        return -3;
    }
    memcpy(buffer, text, used);
    if (used < size) {
        buffer[used] = '\0';
    }
    return static_cast<int>(length);
}
