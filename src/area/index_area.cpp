// Creates indexes bottom up. What an interrupted run leaves behind is told by the directory's mark.
// (The exported words write an index in its place and set the mark last.)
//   no index file              nothing was done yet: index the directory;
//   unmarked, not whole        nothing was removed yet: drop the file and index the directory;
//   unmarked and whole         links may have been removed: the index is the truth, complete it;
//   marked                     bring it up to date with what stands in the directory.
#include "src/area/index_area.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>

#include "base/tree.h"
#include "src/area/confined.h"
#include "src/area/repair.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

/// Names of the directories in a directory. @return 0 or an errno.
int findSubdirectories(int directory, std::vector<std::string>& found) {
    const auto names = base::namesIn(directory);
    if (!names) {
        return errno;
    }
    for (const auto& name : *names) {
        struct stat info {};
        if (fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
            return errno;
        }
        if (S_ISDIR(info.st_mode) && name != dirindex::kIndexName) {
            found.push_back(name);
        }
    }
    return 0;
}

/// True if what is in the place of the index is neither an index nor the link of a magic directory.
/// @param mode  of it; 0: nothing is there.
bool isForeign(int directory, mode_t mode) {
    if (!S_ISLNK(mode)) {
        return mode != 0 && !S_ISREG(mode);
    }
    const auto text = base::readLinkBelow(directory, dirindex::kIndexName);
    return !text || !is_magic_link(text->c_str());
}

/// The name that make_shortcut() was to replace when it was interrupted; empty for other names.
std::string replacedBy(const std::string& name) {
    constexpr std::size_t kSuffix = sizeof("-XXXXXX") - 1;
    if (name.size() <= kSuffix || name[name.size() - kSuffix] != '-' ||
        !std::all_of(name.end() - kSuffix + 1, name.end(),
                     [](unsigned char c) { return std::isalnum(c) != 0; })) {
        return {};
    }
    return name.substr(0, name.size() - kSuffix);
}

void fail(IndexOutcome& outcome, const std::string& what) {
    outcome.result = IndexResult::failed;
    outcome.reasons.push_back(what + ": " + reasonBelow());
}

class Indexer {
public:
    Indexer(const Area& area, const IndexOptions& options, const IndexSink& sink)
        : m_area(area), m_options(options), m_sink(sink) {}

    void run() {
        // Parents are put on the stack before their children and taken up again after them.
        m_pending.push_back({"/"});
        while (!m_pending.empty()) {
            if (m_pending.back().entered) {
                const auto pending = std::move(m_pending.back());
                m_pending.pop_back();
                m_sink(indexDirectory(pending));
            } else {
                enter();
            }
        }
    }

private:
    struct Pending {
        std::string path;
        bool entered = false;
        int failure = 0;  ///< errno when its directories could not be found
    };

    void enter() {
        m_pending.back().entered = true;
        const auto path = m_pending.back().path;
        const auto directory = openDirectory(m_area, path);
        std::vector<std::string> below;
        m_pending.back().failure = directory ? findSubdirectories(directory.get(), below) : errno;
        for (auto it = below.rbegin(); it != below.rend(); ++it) {
            m_pending.push_back({joined(path, *it)});
        }
    }

    IndexOutcome indexDirectory(const Pending& pending) {
        IndexOutcome outcome;
        outcome.path = pending.path;
        if (pending.failure == EXDEV) {
            outcome.result = IndexResult::notIndexable;
            outcome.reasons.emplace_back("another file system is mounted there; it is left out");
            return outcome;
        }
        const auto directory = openDirectory(m_area, pending.path);
        errno = pending.failure != 0 ? pending.failure : errno;
        struct stat info {};
        struct stat index {};
        if (!directory || pending.failure != 0 || fstat(directory.get(), &info) != 0 ||
            (fstatat(directory.get(), dirindex::kIndexName, &index, AT_SYMLINK_NOFOLLOW) != 0 &&
             errno != ENOENT)) {
            fail(outcome, "can't look at the directory");
            return outcome;
        }
        if (isForeign(directory.get(), index.st_mode)) {
            outcome.result = IndexResult::faulty;
            outcome.reasons.emplace_back("something that is not an index is in its place");
        } else if (!S_ISREG(index.st_mode)) {
            createIndex(outcome, directory.get());
        } else if ((info.st_mode & S_ISUID) == 0 && !isWhole(directory.get())) {
            if (m_options.dryRun || unlinkat(directory.get(), dirindex::kIndexName, 0) == 0) {
                createIndex(outcome, directory.get());
            } else {
                fail(outcome, "can't remove the index that an interrupted run left");
            }
        } else {
            completeIndex(outcome);
        }
        return outcome;
    }

    static bool isWhole(int directory) {
        const auto index = dirindex::readIndexFile(directory, dirindex::kIndexName);
        return index.sound && index.checksum == dirindex::ChecksumState::good;
    }

    /// Turns magic symlinks into shortcuts, each made beside its link and renamed over it, so that
    /// a kill between two steps loses nothing.
    static void convertSymlinks(IndexOutcome& outcome, int directory) {
        DirectoryListing listing;
        if (readDirectory(directory, listing) != 0) {
            return;
        }
        for (const auto& item : listing.items) {
            if (!item.isSymlink() || !item.isLink() || item.name == dirindex::kIndexName) {
                continue;
            }
            auto info = item.info;
            info.st_mode = (info.st_mode & qxfs::kPermissionMask) | S_IFREG | S_ISVTX;
            const auto path = "/proc/self/fd/" + std::to_string(directory) + "/" + item.name;
            if (make_shortcut(path.c_str(), item.link.data(), item.link.size(), &info) != 0) {
                outcome.reasons.push_back("'" + item.name +
                                          "' could not be turned into a shortcut");
            }
        }
    }

    /// Removes what a killed conversion left beside a link: a shortcut of the same text.
    static void dropLeftOvers(int directory) {
        DirectoryListing listing;
        if (readDirectory(directory, listing) != 0) {
            return;
        }
        for (const auto& item : listing.items) {
            const auto* replaced = listing.find(replacedBy(item.name));
            if (S_ISREG(item.info.st_mode) && item.isLink() && replaced != nullptr &&
                replaced->link == item.link) {
                unlinkat(directory, item.name.c_str(), 0);
            }
        }
    }

    void createIndex(IndexOutcome& outcome, int directory) const {
        if (m_options.convertSymlinks && !m_options.dryRun) {
            convertSymlinks(outcome, directory);
        }
        auto scan = dirindex::scanDirectory(directory, m_area.templateRoot);
        if (scan && !m_options.dryRun &&
            std::any_of(scan->names.begin(), scan->names.end(),
                        [](const std::string& name) { return !replacedBy(name).empty(); })) {
            dropLeftOvers(directory);
            scan = dirindex::scanDirectory(directory, m_area.templateRoot);
        }
        if (!scan) {
            fail(outcome, "can't read the directory");
            return;
        }
        outcome.reasons.insert(outcome.reasons.end(), scan->reasons.begin(), scan->reasons.end());
        if (!scan->names.empty() || !scan->hasContent()) {
            outcome.result = scan->names.empty() ? IndexResult::empty : IndexResult::notIndexable;
            return;
        }
        std::string error;
        outcome.result = IndexResult::indexed;
        if (m_options.dryRun) {
            return;
        }
        // The links go only once what replaces them is on the device and marked.
        if (!dirindex::replaceIndex(directory, scan->entries, error)) {
            outcome.result = IndexResult::failed;
            outcome.reasons.push_back("the index could not be created: " + error);
            return;
        }
        if (!dirindex::setIndexMark(directory, true)) {
            fail(outcome, "can't mark the directory");
            unlinkat(directory, dirindex::kIndexName, 0);
            return;
        }
        for (const auto& link : scan->superfluous) {
            if (!dirindex::removeSuperfluous(directory, link)) {
                fail(outcome, "can't remove '" + link.name + "'");
                return;
            }
        }
    }

    void completeIndex(IndexOutcome& outcome) {
        auto check = checkDirectory(m_area, outcome.path);
        UndoRecord none;
        const auto mode = m_options.dryRun ? RepairMode::report : RepairMode::preen;
        outcome.reasons = DirectoryRepair(m_area, check, none).run(mode);
        if (!outcome.reasons.empty()) {
            outcome.result = IndexResult::failed;
            return;
        }
        outcome.result = IndexResult::already;
        for (const auto& found : check.findings) {
            const auto& finding = found.finding;
            const auto& kind = kindOf(finding.code);
            if (finding.repaired || (m_options.dryRun && kind.preen)) {
                outcome.result = IndexResult::completed;
            } else if (kind.severity == Severity::error) {
                outcome.reasons.push_back(describe(finding));
            }
        }
        if (!outcome.reasons.empty()) {
            outcome.result = IndexResult::faulty;
        }
    }

    const Area& m_area;
    const IndexOptions& m_options;
    const IndexSink& m_sink;
    std::vector<Pending> m_pending;
};

}  // namespace

const char* indexResultName(IndexResult result) {
    switch (result) {
        case IndexResult::indexed:
            return "indexed";
        case IndexResult::completed:
            return "completed";
        case IndexResult::already:
            return "already";
        case IndexResult::empty:
            return "empty";
        case IndexResult::faulty:
            return "faulty";
        case IndexResult::notIndexable:
            return "not-indexable";
        case IndexResult::failed:
            return "failed";
    }
    return "";
}

void indexArea(const Area& area, const IndexOptions& options, const IndexSink& sink) {
    Indexer(area, options, sink).run();
}

}  // namespace qxfs
