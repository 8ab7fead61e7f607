// Creates indexes bottom up. What the library's own operation leaves behind when it is interrupted
// is recognised here by the directory's mark, which it sets last:
//   no index file              nothing was done yet: index the directory;
//   unmarked, not whole        nothing was removed yet: drop the file and index the directory;
//   unmarked and whole         links may have been removed: the index is the truth, complete it;
//   marked                     bring it up to date with what stands in the directory.
#include "src/area/index_area.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>

#include "base/fd.h"
#include "src/area/confined.h"
#include "src/area/repair.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

constexpr int kScanIndexable = 0;
constexpr int kScanNotIndexable = 3;

/// Sends a standard stream to nowhere for as long as it lives.
class Silenced {
public:
    explicit Silenced(int stream) : m_stream(stream), m_saved(dup(stream)) {
        std::fflush(nullptr);
        const base::Fd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
        // Without a way back the stream stays as it is: too much is said rather than too little.
        if (m_saved && null) {
            dup2(null.get(), stream);
        }
    }
    Silenced(const Silenced&) = delete;
    Silenced& operator=(const Silenced&) = delete;
    ~Silenced() {
        std::fflush(nullptr);
        if (m_saved) {
            dup2(m_saved.get(), m_stream);
        }
    }

private:
    int m_stream;
    base::Fd m_saved;
};

/// Messages by which the scan says why an entry cannot be indexed. Others only remark on it.
bool isReason(std::string_view message) {
    constexpr std::array<std::string_view, 7> starts{
        "can't ",           "Can't ",     "Too long name", "Special file",
        "Not a magic link", "magic link", "readlink"};
    return message.starts_with("Warning: name mistmatch") ||
           std::any_of(starts.begin(), starts.end(),
                       [&](std::string_view start) { return message.starts_with(start); });
}

std::vector<std::string> reasonsIn(const std::string& log) {
    constexpr std::string_view kBeforeMessage = ": ";
    std::vector<std::string> reasons;
    std::ifstream stream(log, std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        const auto found = line.find(kBeforeMessage);
        const auto message = found + kBeforeMessage.size();
        if (found != std::string::npos && isReason(std::string_view(line).substr(message))) {
            reasons.push_back(line.substr(message));
        }
    }
    return reasons;
}

/// Scans the working directory once more, listening to what the library says about its entries.
std::vector<std::string> whyNotIndexable(const Area& area) {
    constexpr int kEverything = 4;
    const base::Fd log(memfd_create("scan", MFD_CLOEXEC));
    if (!log) {
        return {std::string("can't listen to the scan: ") + std::strerror(errno)};
    }
    const auto path = "/proc/self/fd/" + std::to_string(log.get());
    const int level = qxfsutil_debug_level;
    {
        const Silenced output(STDOUT_FILENO);
        const Silenced errors(STDERR_FILENO);
        set_log(kEverything, path.c_str(), nullptr);
        scan_dir_for_index(area.templateRoot.c_str(), 0);
        set_log(level, nullptr, nullptr);
    }
    clean_memory();
    namelist_clean(&rl_info);
    return reasonsIn(path);
}

struct DirectoryGlance {
    std::vector<std::string> subdirectories;  ///< names
    bool hasIndex = false;
};

/// @return false with errno: an index that is overlooked would be lost.
bool glance(int descriptor, DirectoryGlance& seen) {
    base::Fd own(dup(descriptor));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(own ? fdopendir(own.get()) : nullptr,
                                                     &closedir);
    if (stream == nullptr) {
        return false;
    }
    own.release();
    for (errno = 0; const auto* entry = readdir(stream.get()); errno = 0) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        unsigned char type = entry->d_type;
        struct stat info {};
        if (type == DT_UNKNOWN) {
            if (fstatat(descriptor, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
                return false;
            }
            type = IFTODT(info.st_mode);
        }
        if (type == DT_DIR) {
            seen.subdirectories.emplace_back(name);
        }
        seen.hasIndex = seen.hasIndex || (name == dirindex::kIndexName && type == DT_REG);
    }
    if (errno != 0) {
        return false;
    }
    std::sort(seen.subdirectories.begin(), seen.subdirectories.end());
    return true;
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
        m_pending.push_back({"/", false});
        while (!m_pending.empty()) {
            if (m_pending.back().entered) {
                const auto path = std::move(m_pending.back().path);
                m_pending.pop_back();
                m_sink(indexDirectory(path));
            } else {
                enter();
            }
        }
    }

private:
    struct Pending {
        std::string path;
        bool entered;
    };

    void enter() {
        m_pending.back().entered = true;
        const auto path = m_pending.back().path;
        const auto directory = openDirectory(m_area, path);
        DirectoryGlance seen;
        if (!directory || !glance(directory.get(), seen)) {
            return;
        }
        for (auto it = seen.subdirectories.rbegin(); it != seen.subdirectories.rend(); ++it) {
            m_pending.push_back({joined(path, *it), false});
        }
    }

    IndexOutcome indexDirectory(const std::string& path) {
        IndexOutcome outcome;
        outcome.path = path;
        const auto directory = openDirectory(m_area, path);
        DirectoryGlance seen;
        struct stat info {};
        if (!directory || !glance(directory.get(), seen) || fstat(directory.get(), &info) != 0) {
            fail(outcome, "can't look at the directory");
            return outcome;
        }
        const WorkingDirectory here(directory.get());
        if (!here.entered()) {
            fail(outcome, "can't work in the directory");
            return outcome;
        }
        if (!seen.hasIndex) {
            createIndex(outcome);
        } else if ((info.st_mode & S_ISUID) == 0 && !isWhole()) {
            if (m_options.dryRun || unlink(dirindex::kIndexName) == 0) {
                createIndex(outcome);
            } else {
                fail(outcome, "can't remove the index that an interrupted run left");
            }
        } else {
            completeIndex(outcome);
        }
        return outcome;
    }

    static bool isWhole() {
        const auto index = dirindex::readIndexFile(AT_FDCWD, dirindex::kIndexName);
        return index.sound && index.checksum == dirindex::ChecksumState::good;
    }

    /// Turns magic symlinks into shortcuts, each made beside its link and renamed over it: the scan
    /// would remove the link first, and a kill between the two steps would lose it.
    void convertSymlinks(IndexOutcome& outcome) {
        DirectoryListing listing;
        if (readDirectory(m_area, outcome.path, listing) != 0) {
            return;
        }
        for (auto& item : listing.items) {
            if (!item.isSymlink() || !item.isLink() || item.name == dirindex::kIndexName) {
                continue;
            }
            item.info.st_mode = (item.info.st_mode & qxfs::kPermissionMask) | S_IFREG | S_ISVTX;
            if (make_shortcut(item.name.c_str(), item.link.data(), item.link.size(), &item.info) !=
                0) {
                outcome.reasons.push_back("'" + item.name +
                                          "' could not be turned into a shortcut");
            }
        }
    }

    void createIndex(IndexOutcome& outcome) {
        int result = 0;
        if (m_options.convertSymlinks && !m_options.dryRun) {
            convertSymlinks(outcome);
        }
        if (m_options.dryRun) {
            result = scan_dir_for_index(m_area.templateRoot.c_str(), 0);
            clean_memory();
        } else {
            result = create_dirindex(".", dirindex::kIndexName, m_area.templateRoot.c_str(), 0);
        }
        const int failure = errno;
        namelist_clean(&rl_info);
        if (result == kScanIndexable) {
            outcome.result = IndexResult::indexed;
        } else if (result == kScanNotIndexable) {
            auto reasons = whyNotIndexable(m_area);
            outcome.result = reasons.empty() ? IndexResult::empty : IndexResult::notIndexable;
            std::move(reasons.begin(), reasons.end(), std::back_inserter(outcome.reasons));
        } else {
            errno = failure;
            fail(outcome, "the index could not be created");
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
