// Opens paths below an area without following a link.
#include "src/area/confined.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "base/open_below.h"

namespace qxfs {

Place placeBelow(int root, const std::string& area, const std::string& path) {
    Place place;
    if (path == area) {
        place.directory = base::openBelow(root, "", O_RDONLY | O_DIRECTORY);
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
    place.directory = base::openBelow(root, above, O_RDONLY | O_DIRECTORY);
    return place;
}

std::string reasonBelow() {
    return errno == ELOOP || errno == EXDEV ? "the path leads out of the area"
                                            : std::strerror(errno);
}

}  // namespace qxfs
