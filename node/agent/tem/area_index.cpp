// The indexes of a container's area over a change of its templates.
//
// Order of events, so that a kill at any moment leaves what the next writer can go on from:
//   taken away: the list of directories; all shortcuts; flush; marks and index files;
//   made again: index files and marks; what is remembered of them; flush; shortcuts go; the list
//   goes.
// While the list stands, whoever comes next takes all of them away and makes them again. A name
// that is in place already is passed over each time.
#include "node/agent/tem/area_index.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <iterator>
#include <optional>
#include <utility>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "layout/paths.h"
#include "node/agent/tem/area_steps.h"
#include "node/agent/tem/directory_index.h"
#include "node/agent/tem/index_record.h"
#include "node/support/failure.h"
#include "node/template/links.h"
#include "src/qxfsutil.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

// Layout of areas whose directories may have indexes, as qxfs_version() gives it.
constexpr int kIndexedLayout = 4;

std::string joined(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

// An empty base::Fd for a directory that is not there, or where a link of the container leads
// elsewhere.
base::Fd openIfThere(int root, const std::string& directory) {
    base::Fd fd =
        base::openBelow(root, directory.empty() ? "." : directory, O_RDONLY | O_DIRECTORY);
    if (!fd && errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
        throw systemFailure("open directory", directory);
    }
    return fd;
}

void flush(const Area& area) {
    if (syncfs(area.root()) != 0) {
        throw systemFailure("flush", "the container's area");
    }
}

AreaEntry shortcutOf(const struct stat& st, const std::string& text) {
    AreaEntry entry;
    entry.kind = AreaEntry::Kind::shortcut;
    entry.mode = (st.st_mode & 07777) | S_ISVTX;
    entry.uid = st.st_uid;
    entry.gid = st.st_gid;
    entry.mtime = st.st_mtim;
    entry.text = text;
    return entry;
}

std::optional<struct stat> statTemplate(const std::string& text) {
    struct stat st {};
    if (lstat((qxnode::kTemplateDir + text).c_str(), &st) != 0) {
        return std::nullopt;
    }
    return st;
}

bool sameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Recreates the shortcut files that an index replaced.
class Unfolding {
public:
    Unfolding(int root, const std::vector<AreaRecord>& records, IndexRecord remembered)
        : m_root(root), m_records(records), m_remembered(std::move(remembered)) {}

    void unfold(const std::string& directory) {
        const base::Fd fd = openIfThere(m_root, directory);
        const DirectoryMarks marks = fd ? marksOf(fd.get(), directory) : DirectoryMarks();
        if (!marks.hasIndex) {
            return;
        }
        std::vector<std::string> texts;
        try {
            texts = textsOfIndex(fd.get(), directory);
        } catch (const Failure&) {
            // Before the mark nothing that the index stands for is taken out of the directory: what
            // was only half written is no loss.
            if (marks.marked) {
                throw;
            }
        }
        for (const std::string& text : texts) {
            putBack(joined(directory, text.substr(text.rfind('/') + 1)), text);
        }
        m_done.push_back(directory);
    }

    // Takes the indexes away, when all that they stand for is in place and on the device.
    void finish() const {
        for (const std::string& directory : m_done) {
            if (const base::Fd fd = openIfThere(m_root, directory)) {
                removeIndex(fd.get(), directory);
            }
        }
    }

    // Removes what was put back, as long as the indexes still stand.
    void undo() const {
        for (const std::string& path : m_made) {
            std::string name;
            if (const base::Fd parent = base::openParent(m_root, path, name)) {
                unlinkat(parent.get(), name.c_str(), 0);
            }
        }
    }

private:
    void putBack(const std::string& path, const std::string& text) {
        if (base::statBelow(m_root, path)) {
            return;
        }
        if (errno != ENOENT) {
            throw systemFailure("examine", path);
        }
        putEntry(m_root, path, entryOf(path, text));
        m_made.push_back(path);
    }

    [[nodiscard]] AreaEntry entryOf(const std::string& path, const std::string& text) const {
        const auto known = m_remembered.shortcuts.find(path);
        if (known != m_remembered.shortcuts.end() && known->second.text == text) {
            return known->second;
        }
        for (const AreaRecord& record : m_records) {
            const auto found = record.entries.find(path);
            if (found != record.entries.end() && found->second.text == text) {
                return found->second;
            }
        }
        if (const auto st = statTemplate(text)) {
            return shortcutOf(*st, text);
        }
        // The reference is all that is left of it.
        struct stat nobody {};
        nobody.st_mode = 0600;
        return shortcutOf(nobody, text);
    }

    int m_root;
    const std::vector<AreaRecord>& m_records;
    IndexRecord m_remembered;
    std::vector<std::string> m_made;
    std::vector<std::string> m_done;
};

// Indexes directories one by one, and drops the superfluous links of all of them at once.
class Folding {
public:
    using Remark = std::function<void(const std::string&)>;

    Folding(const Area& area, Remark remark)
        : m_area(area),
          m_remark(std::move(remark)),
          m_filled(directoriesOf(readRecords(area.state()))),
          m_record(readIndexRecord(area.state())) {}

    void fold(const std::string& directory, bool othersIndex) {
        forgetShortcutsOf(directory);
        const base::Fd fd = openIfThere(m_area.root(), directory);
        // A directory that no template fills any more is as it was before one did.
        if (!fd || (!othersIndex && !m_filled.contains(directory))) {
            m_record.ours.erase(directory);
            return;
        }
        WrittenIndex written;
        try {
            written = writeIndex(fd.get(), directory, othersIndex);
        } catch (const Failure& failure) {
            m_failure = failure;
            return;
        }
        switch (written.result) {
            case WrittenIndex::Result::written:
                if (!othersIndex) {
                    m_record.ours.insert(directory);
                }
                remember(directory, written.superfluous);
                m_superfluous.emplace_back(directory, std::move(written.superfluous));
                break;
            case WrittenIndex::Result::impossible:
                m_remark("'/" + directory + "' is not indexed: " + written.reason);
                [[fallthrough]];
            case WrittenIndex::Result::notWanted:
                m_record.ours.erase(directory);
                break;
        }
    }

    void finish() {
        writeIndexRecord(m_area.state(), m_record);
        flush(m_area);
        for (const auto& [directory, links] : m_superfluous) {
            const base::Fd fd = openIfThere(m_area.root(), directory);
            for (const dirindex::SuperfluousLink& link : links) {
                if (fd) {
                    removeSuperfluous(fd.get(), directory, link);
                }
            }
        }
        flush(m_area);
        if (m_failure) {
            throw Failure(*m_failure);
        }
    }

private:
    void forgetShortcutsOf(const std::string& directory) {
        const std::string begin = joined(directory, "");
        auto next = m_record.shortcuts.lower_bound(begin);
        while (next != m_record.shortcuts.end() && next->first.starts_with(begin)) {
            const bool deeper = next->first.find('/', begin.size()) != std::string::npos;
            next = deeper ? std::next(next) : m_record.shortcuts.erase(next);
        }
    }

    // A link with the template file's own time is told by that file.
    void remember(const std::string& directory,
                  const std::vector<dirindex::SuperfluousLink>& links) {
        for (const dirindex::SuperfluousLink& link : links) {
            const std::string path = joined(directory, link.name);
            const auto text = base::readFileBelow(m_area.root(), path, kMaxShortcut);
            if (!S_ISREG(link.info.st_mode) || !text) {
                continue;
            }
            const auto st = statTemplate(*text);
            if (!st || !sameTime(st->st_mtim, link.info.st_mtim)) {
                m_record.shortcuts[path] = shortcutOf(link.info, *text);
            }
        }
    }

    const Area& m_area;
    Remark m_remark;
    std::set<std::string> m_filled;
    IndexRecord m_record;
    std::optional<Failure>
        m_failure;  // the last of a directory; the others are indexed all the same
    std::vector<std::pair<std::string, std::vector<dirindex::SuperfluousLink>>> m_superfluous;
};

// Why an area's directories cannot have indexes; nullopt when they can.
std::optional<std::string> unsuitable(const Area& area) {
    const std::string path = "/proc/self/fd/" + std::to_string(area.directory());
    const int layout = qxfs_version(path.c_str());
    if (layout == kIndexedLayout) {
        return std::nullopt;
    }
    return layout < 0 ? "its layout is not known: the link 'VERSION' is missing"
                      : "its layout has no indexes";
}

}  // namespace

std::set<std::string> directoriesOf(const std::vector<AreaRecord>& records) {
    std::set<std::string> directories;
    for (const AreaRecord& record : records) {
        for (const auto& [path, entry] : record.entries) {
            const std::size_t slash = path.rfind('/');
            directories.insert(slash == std::string::npos ? "" : path.substr(0, slash));
        }
    }
    return directories;
}

bool AreaIndexes::unfinished() const {
    return !readPlainDirectories(m_area.state()).empty();
}

void AreaIndexes::makePlain(const std::set<std::string>& directories,
                            const std::vector<AreaRecord>& records) {
    PlainDirectories listed = readPlainDirectories(m_area.state());
    const bool unfinished = !listed.empty();
    IndexRecord remembered = readIndexRecord(m_area.state());
    for (const std::string& directory : directories) {
        const base::Fd fd = openIfThere(m_area.root(), directory);
        listed.emplace(directory, fd && marksOf(fd.get(), directory).hasIndex &&
                                      !remembered.ours.contains(directory));
    }
    if (listed.empty()) {
        return;
    }
    writePlainDirectories(m_area.state(), listed);
    Unfolding unfolding(m_area.root(), records, std::move(remembered));
    try {
        for (const auto& [directory, othersIndex] : listed) {
            unfolding.unfold(directory);
        }
        flush(m_area);
    } catch (const Failure&) {
        unfolding.undo();
        if (!unfinished) {
            removePlainDirectories(m_area.state());
        }
        throw;
    }
    unfolding.finish();
    flush(m_area);
}

void AreaIndexes::index() {
    const PlainDirectories listed = readPlainDirectories(m_area.state());
    if (listed.empty()) {
        return;
    }
    // Steps that are still to be done or undone need the directories as they are.
    if (isCutShort(m_area)) {
        throw Failure("a change could not be finished");
    }
    const auto reason = unsuitable(m_area);
    if (reason) {
        remark("the area is not indexed: " + *reason);
    }
    Folding folding(m_area, [this](const std::string& what) { remark(what); });
    for (const auto& [directory, othersIndex] : listed) {
        // Whoever gave it an index in such an area gets it back.
        if (!reason || othersIndex) {
            folding.fold(directory, othersIndex);
        }
    }
    folding.finish();
    removePlainDirectories(m_area.state());
}

void AreaIndexes::makeIndexed() {
    try {
        index();
    } catch (const std::exception& failure) {
        remark(std::string("directories are not indexed yet: ") + failure.what());
    }
}

void AreaIndexes::makeNewIndexed(const std::set<std::string>& directories) {
    PlainDirectories listed;
    for (const std::string& directory : directories) {
        listed.emplace(directory, false);
    }
    if (!listed.empty()) {
        writePlainDirectories(m_area.state(), listed);
        index();
    }
}

void AreaIndexes::remark(const std::string& what) const {
    m_reporter.remark("container " + m_name + ": " + what);
}

void indexNewArea(int directory, const std::string& name, const Reporter& reporter) {
    const Area area("/proc/self/fd/" + std::to_string(directory));
    AreaIndexes(area, name, reporter).makeNewIndexed(directoriesOf(readRecords(area.state())));
}

}  // namespace QXA::tem
