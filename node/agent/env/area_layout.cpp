// Makes and removes private areas of containers.
#include "node/agent/env/area_layout.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "QXA/QXATEMLocal.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/agent/tem/area_record.h"
#include "node/support/failure.h"

namespace QXA::env {

namespace {

using qxnode::Failure;
using qxnode::systemFailure;

constexpr const char* kMarkName = "unfinished";

struct Place {
    std::string folder;
    std::string name;
};

// Splits a path; throws unless it is absolute and its last component is a plain name below a
// folder.
Place placeOf(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') {
        trimmed.pop_back();
    }
    const std::size_t slash = trimmed.rfind('/');
    Place place;
    if (slash != std::string::npos) {
        place = {trimmed.substr(0, slash), trimmed.substr(slash + 1)};
    }
    if (path.empty() || path.front() != '/' || place.folder.empty() || place.name.empty() ||
        place.name == "." || place.name == "..") {
        throw Failure("'" + path + "' cannot be a container's private area");
    }
    return place;
}

base::Fd openFolder(const Place& place) {
    base::Fd folder(open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        throw systemFailure("open folder", place.folder);
    }
    return folder;
}

std::string markPath(const std::string& name) {
    return name + "/" + tem::kAreaStateName + "/" + kMarkName;
}

void setMark(int area, const std::string& path) {
    if (mkdirat(area, tem::kAreaStateName, 0700) != 0 && errno != EEXIST) {
        throw systemFailure("make directory", path + "/" + tem::kAreaStateName);
    }
    const base::Fd state = base::openBelow(area, tem::kAreaStateName, O_RDONLY | O_DIRECTORY);
    if (!state || !base::writeFileDurably(state.get(), kMarkName, "")) {
        throw systemFailure("mark area", path);
    }
}

void fillArea(int folder, const std::string& beside, const std::string& path,
              const std::function<void(int)>& fill) {
    if (mkdirat(folder, beside.c_str(), 0700) != 0) {
        throw systemFailure("make directory", path);
    }
    const base::Fd area = base::openBelow(folder, beside, O_RDONLY | O_DIRECTORY);
    if (!area) {
        throw systemFailure("open directory", path);
    }
    if (mkdirat(area.get(), kLostFilesName, 0700) != 0 ||
        symlinkat(kLayoutVersion, area.get(), kVersionLink) != 0) {
        throw systemFailure("make private area", path);
    }
    fill(area.get());
    setMark(area.get(), path);
    if ((mkdirat(area.get(), "root", 0755) != 0 && errno != EEXIST) || syncfs(area.get()) != 0) {
        throw systemFailure("make private area", path);
    }
}

}  // namespace

void makeArea(const std::string& path, const std::function<void(int)>& fill) {
    const Place place = placeOf(path);
    std::string error;
    if (!base::makeDirectories(place.folder, error)) {
        throw Failure(error);
    }
    const base::Fd folder = openFolder(place);
    if (base::statBelow(folder.get(), place.name)) {
        if (!base::statBelow(folder.get(), markPath(place.name))) {
            throw Failure(kTemConflict, "private area '" + path + "' already exists");
        }
        if (!base::removeTree(folder.get(), place.name)) {
            throw systemFailure("remove the unfinished area", path);
        }
    }
    const std::string beside = ".new." + place.name;
    if (!base::removeTree(folder.get(), beside)) {
        throw systemFailure("remove", place.folder + "/" + beside);
    }
    bool inPlace = false;
    try {
        fillArea(folder.get(), beside, path, fill);
        inPlace = renameat2(folder.get(), beside.c_str(), folder.get(), place.name.c_str(),
                            RENAME_NOREPLACE) == 0;
        if (!inPlace || !base::flushDirectory(folder.get())) {
            throw systemFailure("put in place", path);
        }
    } catch (const Failure&) {
        base::removeTree(folder.get(), inPlace ? place.name : beside);
        throw;
    }
}

void finishArea(const std::string& path) {
    const Place place = placeOf(path);
    const base::Fd folder = openFolder(place);
    // A mark that remains is harmless: with a configuration the area belongs to a container.
    std::string name;
    if (const base::Fd state = base::openParent(folder.get(), markPath(place.name), name)) {
        unlinkat(state.get(), name.c_str(), 0);
    }
}

void leaveArea(const std::string& path) {
    const Place place = placeOf(path);
    const base::Fd folder(open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && errno == ENOENT) {
        return;
    }
    const base::Fd area =
        folder ? base::openBelow(folder.get(), place.name, O_RDONLY | O_DIRECTORY) : base::Fd();
    if (!area) {
        if (errno == ENOENT) {
            return;
        }
        throw systemFailure("open private area", path);
    }
    const auto root = base::statBelow(area.get(), "root");
    const auto version = base::statBelow(area.get(), kVersionLink);
    if (!root || !S_ISDIR(root->st_mode) || !version || !S_ISLNK(version->st_mode)) {
        throw Failure("'" + path +
                      "' does not look like a private area (no root, no "
                      "VERSION link); it is not removed");
    }
    setMark(area.get(), path);
}

void removeArea(const std::string& path) {
    const Place place = placeOf(path);
    const base::Fd folder(open(place.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && errno == ENOENT) {
        return;
    }
    if (!folder || (base::statBelow(folder.get(), markPath(place.name)) &&
                    !base::removeTree(folder.get(), place.name))) {
        throw systemFailure("remove private area", path);
    }
}

}  // namespace QXA::env
