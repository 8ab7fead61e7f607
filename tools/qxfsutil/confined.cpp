// Opens paths below an area without following a link.
#include "tools/qxfsutil/confined.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace qxfsutil {

qxfs::FileDescriptor openBelow(int directory, const std::string& path, int flags) {
    struct open_how how {};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const char* relative = path.empty() ? "." : path.c_str();
    return qxfs::FileDescriptor(
        static_cast<int>(syscall(SYS_openat2, directory, relative, &how, sizeof how)));
}

Place placeBelow(int root, const std::string& area, const std::string& path) {
    Place place;
    if (path == area) {
        place.directory = openBelow(root, "", O_RDONLY | O_DIRECTORY);
        place.name = ".";
        return place;
    }
    const auto slash = path.rfind('/');
    if (!path.starts_with(area + "/")) {
        errno = EXDEV;
        return place;
    }
    place.name = path.substr(slash + 1);
    if (place.name.empty() || place.name == "." || place.name == "..") {
        errno = EXDEV;
        return place;
    }
    const auto above =
        slash <= area.size() ? "" : path.substr(area.size() + 1, slash - area.size() - 1);
    place.directory = openBelow(root, above, O_RDONLY | O_DIRECTORY);
    return place;
}

}  // namespace qxfsutil
