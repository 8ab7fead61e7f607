// Paths: following a chain of symbolic links by hand.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "src/common.h"

namespace {

constexpr int kMaxLinks = 100;

std::string read_link(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) {
        common::fatal(errno, "Can't read link '%s'", path.c_str());
    }
    return {target, static_cast<size_t>(length)};
}

}  // namespace

int get_realpath(char* path, size_t size) {
    std::string current(path, strnlen(path, PATH_MAX));
    for (int followed = 0; followed < kMaxLinks; ++followed) {
        struct stat st {};
        if (lstat(current.c_str(), &st) != 0) {
            common::fatal(errno, "Can't stat '%s'", current.c_str());
        }
        if (!S_ISLNK(st.st_mode)) {
            if (size > 0) {
                const size_t length = std::min(current.size(), size - 1);
                memcpy(path, current.data(), length);
                path[length] = '\0';
            }
            QXFS_DEBUG(common::kLevelDetails, "real path '%s'\n", path);
            return followed;
        }
        current = read_link(current);
    }
    return -1;
}
