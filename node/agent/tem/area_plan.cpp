// Plans the entries that templates put into a container's root.
#include "node/agent/tem/area_plan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "base/content.h"
#include "base/tree.h"
#include "node/support/failure.h"
#include "node/template/links.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

AreaEntry entryFor(int templateRoot, const QXATemplate& key, const std::string& path,
                   const struct stat& st) {
    AreaEntry entry;
    entry.mode = st.st_mode & 07777;
    entry.uid = st.st_uid;
    entry.gid = st.st_gid;
    entry.mtime = st.st_mtim;
    if (S_ISDIR(st.st_mode)) {
        entry.kind = AreaEntry::Kind::directory;
    } else if (S_ISREG(st.st_mode)) {
        entry.kind = AreaEntry::Kind::shortcut;
        entry.mode |= S_ISVTX;  // what makes it a shortcut
        entry.text = shortcutText(key.name, key.version, path);
    } else if (S_ISLNK(st.st_mode)) {
        entry.kind = AreaEntry::Kind::link;
        std::optional<std::string> target = base::readLinkBelow(templateRoot, path);
        if (!target) {
            throw systemFailure("read symbolic link of template", path);
        }
        entry.text = std::move(*target);
    } else {
        throw Failure("template '" + key.toString() + "': '" + path +
                      "' is neither a file, a directory nor a link");
    }
    return entry;
}

bool isOwnerOf(const struct stat& st, const AreaEntry& entry) {
    // If the owner could not be set, the file belongs to this process's user.
    return (st.st_uid == entry.uid || st.st_uid == geteuid()) &&
           (st.st_gid == entry.gid || st.st_gid == getegid());
}

const AreaEntry* find(const std::vector<AreaRecord>& records, const std::string& path) {
    for (const AreaRecord& record : records) {
        const auto found = record.entries.find(path);
        if (found != record.entries.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

bool isBelowOneOf(const std::vector<std::string>& directories, const std::string& path) {
    return std::any_of(directories.begin(), directories.end(),
                       [&](const std::string& above) { return path.starts_with(above); });
}

enum class Verdict { make, keep, leaveOut };

// Decides about one entry of a template.
class Planner {
public:
    Planner(AreaSituation& situation, const std::vector<AreaRecord>& planned, bool force)
        : m_situation(situation), m_planned(planned), m_force(force) {}

    Verdict judge(const std::string& path, AreaEntry& entry) {
        const bool isDirectory = entry.kind == AreaEntry::Kind::directory;
        if (const AreaEntry* other = find(m_planned, path)) {
            return isDirectory && other->kind == entry.kind ? Verdict::make : Verdict::keep;
        }
        if (isBelowOneOf(m_fresh, path)) {
            return Verdict::make;
        }
        const std::optional<struct stat> there = base::statBelow(m_situation.root, path);
        if (!there) {
            if (errno != ENOENT) {
                // A link or a file is in the way, so the path cannot be used.
                return Verdict::keep;
            }
            return Verdict::make;
        }
        const AreaEntry* leaving = find(m_situation.leaving, path);
        if (leaving != nullptr && standsAsMade(m_situation.root, path, *leaving)) {
            entry.saved = leaving->saved;
            if (isDirectory && leaving->kind != entry.kind) {
                m_fresh.push_back(path + "/");
            }
            return Verdict::make;
        }
        if (isDirectory && S_ISDIR(there->st_mode)) {
            // A directory of another template is shared: it is removed with the last of them. A
            // directory of the container is not recorded and so never removed.
            const AreaEntry* shared = find(m_situation.staying, path);
            return shared != nullptr && shared->kind == entry.kind ? Verdict::make
                                                                   : Verdict::leaveOut;
        }
        if (!m_force || isDirectory || S_ISDIR(there->st_mode)) {
            return Verdict::keep;
        }
        entry.saved = m_situation.nextSaved++;
        return Verdict::make;
    }

private:
    AreaSituation& m_situation;
    const std::vector<AreaRecord>& m_planned;
    bool m_force;
    std::vector<std::string> m_fresh;  // directories that come where a file of ours leaves
};

}  // namespace

std::map<std::string, AreaEntry> entriesOf(int templateRoot, const QXATemplate& key) {
    std::map<std::string, AreaEntry> entries;
    std::string failed;
    const auto visit = [&](const std::string& path, const struct stat& st) {
        entries.emplace(path, entryFor(templateRoot, key, path, st));
    };
    if (!base::walkTree(templateRoot, visit, failed)) {
        throw systemFailure("read template '" + key.toString() + "' at", failed);
    }
    return entries;
}

bool standsAsMade(int root, const std::string& path, const AreaEntry& entry) {
    const std::optional<struct stat> st = base::statBelow(root, path);
    if (!st) {
        return false;
    }
    switch (entry.kind) {
        case AreaEntry::Kind::directory:
            return S_ISDIR(st->st_mode);
        case AreaEntry::Kind::shortcut:
            return S_ISREG(st->st_mode) && (st->st_mode & 07777) == entry.mode &&
                   isOwnerOf(*st, entry) &&
                   static_cast<std::size_t>(st->st_size) == entry.text.size() &&
                   base::readFileBelow(root, path, kMaxShortcut) == entry.text;
        case AreaEntry::Kind::link:
            return S_ISLNK(st->st_mode) && isOwnerOf(*st, entry) &&
                   base::readLinkBelow(root, path) == entry.text;
    }
    return false;
}

AreaRecord planTemplate(AreaSituation& situation, const std::vector<AreaRecord>& planned,
                        AreaRecord wanted, bool force, std::vector<std::string>& kept) {
    Planner planner(situation, planned, force);
    AreaRecord record{wanted.key, wanted.isOsTemplate, {}};
    std::vector<std::string> skipped;  // directories that cannot be had, with all below them
    for (auto& [path, entry] : wanted.entries) {
        if (isBelowOneOf(skipped, path)) {
            continue;
        }
        switch (planner.judge(path, entry)) {
            case Verdict::make:
                record.entries.emplace(path, std::move(entry));
                break;
            case Verdict::keep:
                kept.push_back(path);
                if (entry.kind == AreaEntry::Kind::directory) {
                    skipped.push_back(path + "/");
                }
                break;
            case Verdict::leaveOut:
                break;
        }
    }
    return record;
}

}  // namespace QXA::tem
