// Applies undo records, each step relative to the opened directory that holds the path.
#include "src/area/undo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "src/area/confined.h"
#include "src/area/staging.h"

namespace qxfs {

namespace {

bool setTimes(const Place& place, const PathState& state) {
    return writeTimes(place.directory.get(), place.name, state);
}

bool setAttributes(const Place& place, const PathState& state) {
    return writeAttributes(place.directory.get(), place.name, state);
}

class Undoer {
public:
    Undoer(const std::string& area, int root)
        : m_area(area),
          m_root(root),
          m_staging(base::openBelow(root, "root", O_PATH | O_DIRECTORY) ? root : -1) {}

    void undo(const UndoStep& step) {
        const bool done = step.kind == UndoStep::Kind::move ? moveBack(step) : restore(step);
        if (!done || step.parent.kind == PathState::Kind::absent || step.path == m_area) {
            return;
        }
        const auto parent = base::folderOf(step.path);
        const auto place = placeBelow(m_root, m_area, parent);
        if (!place.directory || !setTimes(place, step.parent)) {
            fail("set the times of", parent);
        }
    }

    std::vector<std::string> takeFailures() { return std::move(m_failures); }

private:
    bool fail(const char* what, const std::string& path) {
        m_failures.push_back(std::string("can't ") + what + " '" + path + "': " + reasonBelow());
        return false;
    }

    bool restore(const UndoStep& step) {
        const auto place = placeBelow(m_root, m_area, step.path);
        if (!place.directory) {
            return fail("open the directory of", step.path);
        }
        switch (step.state.kind) {
            case PathState::Kind::absent:
                return ((unlinkat(place.directory.get(), place.name.c_str(), 0) == 0 ||
                         errno == ENOENT) &&
                        base::flushDirectory(place.directory.get())) ||
                       fail("remove", step.path);
            case PathState::Kind::regular:
            case PathState::Kind::symlink:
                return putBack(place, step.state) || fail("put back", step.path);
            case PathState::Kind::other:
                return setAttributes(place, step.state) || fail("set the attributes of", step.path);
        }
        return false;
    }

    bool putBack(const Place& place, const PathState& state) {
        // A file that is unchanged keeps its inode, which may have other names.
        PathState now;
        if (readState(place.directory.get(), place.name, true, now) && now.holdsSame(state)) {
            return setTimes(place, state);
        }
        return recreate(m_staging, place.directory.get(), place.name, state);
    }

    bool moveBack(const UndoStep& step) {
        // If the step was undone before, the file or even its directory does not exist.
        const auto from = placeBelow(m_root, m_area, step.movedTo);
        if (!from.directory && errno != ENOENT) {
            return fail("open the directory of", step.movedTo);
        }
        const auto to = placeBelow(m_root, m_area, step.path);
        if (!to.directory) {
            return fail("open the directory of", step.path);
        }
        if (from.directory &&
            renameat2(from.directory.get(), from.name.c_str(), to.directory.get(), to.name.c_str(),
                      RENAME_NOREPLACE) != 0 &&
            errno != ENOENT) {
            return fail("move back", step.movedTo);
        }
        removeMade(step);
        return (base::flushDirectory(to.directory.get()) &&
                (!from.directory || base::flushDirectory(from.directory.get()))) ||
               fail("flush the directory of", step.path);
    }

    /// Leaves a directory that has other files now.
    void removeMade(const UndoStep& step) const {
        for (auto it = step.madeDirectories.rbegin(); it != step.madeDirectories.rend(); ++it) {
            const auto made = placeBelow(m_root, m_area, *it);
            if (made.directory) {
                unlinkat(made.directory.get(), made.name.c_str(), AT_REMOVEDIR);
            }
        }
    }

    const std::string& m_area;
    int m_root;
    Staging m_staging;
    std::vector<std::string> m_failures;
};

}  // namespace

std::vector<std::string> undoChanges(const RecordedChanges& changes) {
    const base::Fd root(open(changes.area.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!root) {
        return {"can't open the area '" + changes.area + "': " + std::strerror(errno)};
    }
    Undoer undoer(changes.area, root.get());
    for (auto step = changes.steps.rbegin(); step != changes.steps.rend(); ++step) {
        undoer.undo(*step);
    }
    return undoer.takeFailures();
}

}  // namespace qxfs
