// Applies undo records, each step relative to the opened directory that holds the path.
#include "src/area/undo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/content.h"
#include "base/fd.h"
#include "src/area/confined.h"

namespace qxfs {

namespace {

/// A path on its way back to its place; a name that no template and no index can have.
constexpr const char* kBesideName = "._qxlnk_.~undo";

std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

class Undoer {
public:
    Undoer(const std::string& area, int root, std::string& error)
        : m_area(area), m_root(root), m_error(error) {}

    bool undo(const UndoStep& step) {
        const bool done = step.kind == UndoStep::Kind::move ? moveBack(step) : restore(step);
        if (!done || step.parent.kind == PathState::Kind::absent || step.path == m_area) {
            return done;
        }
        const auto parent = directoryOf(step.path);
        const auto place = placeBelow(m_root, m_area, parent);
        return (place.directory && setTimes(place, step.parent)) ||
               failed("set the times of", parent);
    }

private:
    bool failed(const char* what, const std::string& path) {
        m_error = std::string("can't ") + what + " '" + path + "': " + reasonBelow();
        return false;
    }

    bool restore(const UndoStep& step) {
        const auto place = placeBelow(m_root, m_area, step.path);
        if (!place.directory) {
            return failed("open the directory of", step.path);
        }
        switch (step.state.kind) {
            case PathState::Kind::absent:
                return unlinkat(place.directory.get(), place.name.c_str(), 0) == 0 ||
                       errno == ENOENT || failed("remove", step.path);
            case PathState::Kind::regular:
            case PathState::Kind::symlink:
                return recreate(place, step);
            case PathState::Kind::other:
                return setAttributes(place, step.state) ||
                       failed("set the attributes of", step.path);
        }
        return false;
    }

    /// Makes the path again beside its place and renames it there.
    bool recreate(const Place& place, const UndoStep& step) {
        const Place beside{base::Fd(dup(place.directory.get())), kBesideName};
        const int directory = place.directory.get();
        unlinkat(directory, kBesideName, 0);
        const bool made = step.state.kind == PathState::Kind::symlink
                              ? symlinkat(step.state.content.c_str(), directory, kBesideName) == 0
                              : writeFile(directory, step.state.content);
        if (!made || !setAttributes(beside, step.state) ||
            renameat(directory, kBesideName, directory, place.name.c_str()) != 0) {
            return failed("put back", step.path);
        }
        return true;
    }

    static bool writeFile(int directory, const std::string& content) {
        const base::Fd file(openat(directory, kBesideName,
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        return file && base::writeContent(file.get(), content) && fsync(file.get()) == 0;
    }

    static bool setAttributes(const Place& place, const PathState& state) {
        if (fchownat(place.directory.get(), place.name.c_str(), state.uid, state.gid,
                     AT_SYMLINK_NOFOLLOW) != 0) {
            return false;
        }
        return (S_ISLNK(state.mode) || setMode(place, state.mode)) && setTimes(place, state);
    }

    /// Through the opened path, since chmod by name would follow a link that has taken its place.
    static bool setMode(const Place& place, std::uint32_t mode) {
        const base::Fd path(
            openat(place.directory.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat info {};
        if (!path || fstat(path.get(), &info) != 0) {
            return false;
        }
        if ((info.st_mode & S_IFMT) != (mode & S_IFMT)) {
            errno = S_ISLNK(info.st_mode) ? ELOOP : EINVAL;
            return false;
        }
        return chmod(("/proc/self/fd/" + std::to_string(path.get())).c_str(), mode & 07777) == 0;
    }

    static bool setTimes(const Place& place, const PathState& state) {
        const std::array times{state.accessed, state.modified};
        return utimensat(place.directory.get(), place.name.c_str(), times.data(),
                         AT_SYMLINK_NOFOLLOW) == 0;
    }

    bool moveBack(const UndoStep& step) {
        // A step that was undone before finds nothing to move, or not even its directory.
        const auto from = placeBelow(m_root, m_area, step.movedTo);
        if (!from.directory && errno != ENOENT) {
            return failed("open the directory of", step.movedTo);
        }
        const auto to = placeBelow(m_root, m_area, step.path);
        if (!to.directory) {
            return failed("open the directory of", step.path);
        }
        if (from.directory &&
            renameat(from.directory.get(), from.name.c_str(), to.directory.get(),
                     to.name.c_str()) != 0 &&
            errno != ENOENT) {
            return failed("move back", step.movedTo);
        }
        // A directory that got something else in the meantime stays.
        for (auto it = step.madeDirectories.rbegin(); it != step.madeDirectories.rend(); ++it) {
            const auto made = placeBelow(m_root, m_area, *it);
            if (made.directory) {
                unlinkat(made.directory.get(), made.name.c_str(), AT_REMOVEDIR);
            }
        }
        return true;
    }

    const std::string& m_area;
    int m_root;
    std::string& m_error;
};

}  // namespace

bool undoChanges(const RecordedChanges& changes, std::string& error) {
    const base::Fd root(open(changes.area.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!root) {
        error = "can't open the area '" + changes.area + "': " + std::strerror(errno);
        return false;
    }
    Undoer undoer(changes.area, root.get(), error);
    for (auto step = changes.steps.rbegin(); step != changes.steps.rend(); ++step) {
        if (!undoer.undo(*step)) {
            return false;
        }
    }
    return true;
}

}  // namespace qxfs
