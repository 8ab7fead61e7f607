// Moves items of an area to its lost_files and back. Both directories are opened without following
// links, because the container may have made links on either path.
#include "src/area/lost_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "src/area/confined.h"

namespace qxfs {

namespace {

/// The path below the private area of the lost_files folder for a path inside the container.
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

/// Lists the missing directories of a path below `top`, outermost first.
/// @return false with errno if one of them exists but cannot be used.
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

}  // namespace

bool LostDirectory::find(std::string& error) {
    if (m_top) {
        return true;
    }
    m_below = lostPathOf(m_area, m_inside == "/" ? "" : m_inside);
    m_top = openPrivateDir(m_area);
    if (!m_top || !findMissing(m_top.get(), m_below, m_missing)) {
        failed("use the directory '" + m_area.privateDir + "/" + m_below + "'", error);
        m_top.close();
        return false;
    }
    return true;
}

bool LostDirectory::record(const std::string& name, UndoRecord& undo, std::string& error) {
    UndoStep move;
    move.kind = UndoStep::Kind::move;
    move.path = m_area.absolute(joined(m_inside, name));
    if (!m_area.isPrivate()) {
        error = "can't move '" + move.path + "' aside: '" + m_area.privateDir +
                "' is no private area and has no lost_files";
        return false;
    }
    if (!find(error)) {
        return false;
    }
    move.movedTo = m_area.privateDir + "/" + m_below + "/" + name;
    // Refuse an existing file: an undo must not move that one back.
    if (m_missing.empty() && isThere(base::openBelow(m_top.get(), m_below, O_PATH).get(), name)) {
        error = "'" + move.movedTo + "' is there already";
        return false;
    }
    for (const auto& made : m_missing) {
        move.madeDirectories.push_back(m_area.privateDir + "/" + made);
    }
    // Making something in an existing directory changes its times.
    UndoStep times;
    const auto above = m_missing.empty() ? m_below : base::folderOf(m_missing.front());
    times.path = above == "." ? m_area.privateDir : m_area.privateDir + "/" + above;
    const auto changed = base::openBelow(m_top.get(), above, O_RDONLY | O_DIRECTORY);
    return (changed && readState(changed.get(), ".", false, times.state) &&
            readState(m_directory, name, false, move.state) &&
            readState(m_directory, ".", false, move.parent) && undo.add(times) && undo.add(move)) ||
           failed("record the state of '" + move.path + "'", error);
}

bool LostDirectory::move(const std::string& name, std::string& error) {
    constexpr mode_t kLostMode = 0755;
    if (!m_to) {
        m_to = base::makeBelow(m_top.get(), m_below, kLostMode);
    }
    return (m_to && renameat2(m_directory, name.c_str(), m_to.get(), name.c_str(),
                              RENAME_NOREPLACE) == 0) ||
           failed("move '" + m_area.absolute(joined(m_inside, name)) + "' to '" +
                      m_area.privateDir + "/" + m_below + "/" + name + "'",
                  error);
}

bool LostDirectory::flush(std::string& error) const {
    bool flushed = !m_to || base::flushDirectory(m_to.get());
    for (auto made = m_missing.rbegin(); m_to && flushed && made != m_missing.rend(); ++made) {
        const auto above =
            base::openBelow(m_top.get(), base::folderOf(*made), O_RDONLY | O_DIRECTORY);
        flushed = above && base::flushDirectory(above.get());
    }
    return flushed || failed("flush '" + m_area.privateDir + "/" + m_below + "'", error);
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
    return (from.directory &&
            renameat2(from.directory.get(), from.name.c_str(), to.directory.get(), to.name.c_str(),
                      RENAME_NOREPLACE) == 0 &&
            base::flushDirectory(to.directory.get()) &&
            base::flushDirectory(from.directory.get())) ||
           failed("move '" + lost + "' back", error);
}

}  // namespace qxfs
