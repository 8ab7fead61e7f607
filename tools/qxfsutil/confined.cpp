// Opens paths below an area without following a link.
#include "tools/qxfsutil/confined.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "src/qxfsutil.h"

namespace qxfsutil {

qxfs::FileDescriptor openBelow(int directory, const std::string& path, int flags) {
    struct open_how how {};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    const char* relative = path.empty() ? "." : path.c_str();
    return qxfs::FileDescriptor(
        static_cast<int>(syscall(SYS_openat2, directory, relative, &how, sizeof how)));
}

qxfs::FileDescriptor makeBelow(int directory, const std::string& path, mode_t mode) {
    constexpr int kDirectory = O_RDONLY | O_DIRECTORY;
    auto reached = openBelow(directory, "", kDirectory);
    std::size_t start = 0;
    while (reached.valid() && start < path.size()) {
        const auto end = std::min(path.find('/', start), path.size());
        const auto name = path.substr(start, end - start);
        start = end + 1;
        if (mkdirat(reached.get(), name.c_str(), mode) != 0 && errno != EEXIST) {
            return qxfs::FileDescriptor();
        }
        reached = openBelow(reached.get(), name, kDirectory);
    }
    return reached;
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

std::string reasonBelow() {
    return errno == ELOOP || errno == EXDEV ? "the path leads out of the area"
                                            : std::strerror(errno);
}

// Where the directory that the process started in cannot be looked at, there is no way back to it,
// and no relative path that anything could have meant.
WorkingDirectory::WorkingDirectory(int directory)
    : m_before(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)), m_entered(fchdir(directory) == 0) {}

WorkingDirectory::~WorkingDirectory() {
    if (m_entered && m_before.valid() && fchdir(m_before.get()) != 0) {
        werror(errno, "can't return to the working directory");
    }
}

}  // namespace qxfsutil
