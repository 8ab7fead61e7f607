// Moves items of an area to its lost_files and back. Both ends are reached through opened
// directories: the container may have planted links on either path.
#include "src/area/lost_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/area/confined.h"

namespace qxfs {

namespace {

/// The path of lost_files that answers to a path inside the container, below the private area.
std::string lostPathOf(const Area& area, const std::string& inside) {
    return "lost_files" + area.root.substr(area.privateDir.size()) + inside;
}

base::Fd openPrivateDir(const Area& area) {
    return base::Fd(open(area.privateDir.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool failed(const std::string& what, std::string& error) {
    error = "can't " + what + ": " + reasonBelow();
    return false;
}

bool isThere(int directory, const std::string& name) {
    struct stat info {};
    return fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Names the directories of a path below `top` that are missing, outermost first.
/// @return false with errno when one of them is there but cannot be used.
bool findMissing(int top, const std::string& path, std::vector<std::string>& missing) {
    for (std::size_t slash = 0; slash != std::string::npos;) {
        slash = path.find('/', slash + 1);
        const auto prefix = path.substr(0, slash);
        if (!base::openBelow(top, prefix, O_PATH | O_DIRECTORY)) {
            if (errno != ENOENT) {
                return false;
            }
            missing.push_back(prefix);
        }
    }
    return true;
}

/// Notes the move as it is about to be made. Making lost_files changes the private area's own
/// times.
bool record(int top, int directory, const std::string& name, UndoStep& move, const Area& area,
            UndoRecord& undo) {
    UndoStep times;
    times.path = area.privateDir;
    return readState(top, ".", false, times.state) &&
           readState(directory, name, false, move.state) &&
           readState(directory, ".", false, move.parent) && undo.add(times) && undo.add(move);
}

}  // namespace

bool moveToLost(const Area& area, const std::string& inside, int directory, UndoRecord& undo,
                std::string& error) {
    UndoStep move;
    move.kind = UndoStep::Kind::move;
    move.path = area.absolute(inside);
    if (!area.isPrivate()) {
        error = "can't move '" + move.path + "' aside: '" + area.privateDir +
                "' is no private area and has no lost_files";
        return false;
    }
    const auto lost = lostPathOf(area, inside);
    const auto slash = lost.rfind('/');
    const auto above = lost.substr(0, slash);
    const auto name = lost.substr(slash + 1);
    move.movedTo = area.privateDir + "/" + lost;
    const auto top = openPrivateDir(area);
    std::vector<std::string> missing;
    if (!top || !findMissing(top.get(), above, missing)) {
        return failed("use the directory of '" + move.movedTo + "'", error);
    }
    // An undo must not move back what lay there before, so this comes before the record.
    if (missing.empty() && isThere(base::openBelow(top.get(), above, O_PATH).get(), name)) {
        error = "'" + move.movedTo + "' is there already";
        return false;
    }
    for (const auto& directoryMade : missing) {
        move.madeDirectories.push_back(area.privateDir + "/" + directoryMade);
    }
    if (!record(top.get(), directory, name, move, area, undo)) {
        return failed("record the state of '" + move.path + "'", error);
    }
    constexpr mode_t kLostMode = 0755;
    const auto to = base::makeBelow(top.get(), above, kLostMode);
    return (to &&
            renameat2(directory, name.c_str(), to.get(), name.c_str(), RENAME_NOREPLACE) == 0) ||
           failed("move '" + move.path + "' to '" + move.movedTo + "'", error);
}

bool restoreLost(const Area& area, const std::string& inside, std::string& error) {
    const auto end = inside.find_last_not_of('/') + 1;
    const auto relative = (inside.starts_with('/') ? "" : "/") + inside.substr(0, end);
    if ((relative + "/").find("/../") != std::string::npos) {
        error = "'" + inside + "' leads out of the area";
        return false;
    }
    const auto lost = area.privateDir + "/" + lostPathOf(area, relative);
    const auto place = area.absolute(relative);
    const auto top = openPrivateDir(area);
    const auto to = placeBelow(top.get(), area.privateDir, place);
    if (!to.directory) {
        return failed("open the directory of '" + place + "'", error);
    }
    if (isThere(to.directory.get(), to.name)) {
        error = "'" + place + "' is there again; remove or move it first";
        return false;
    }
    const auto from = placeBelow(top.get(), area.privateDir, lost);
    return (from.directory && renameat2(from.directory.get(), from.name.c_str(), to.directory.get(),
                                        to.name.c_str(), RENAME_NOREPLACE) == 0) ||
           failed("move '" + lost + "' back", error);
}

}  // namespace qxfs
