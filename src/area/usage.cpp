// Collects and rewrites the references of an area to template files.
#include "src/area/usage.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "base/open_below.h"
#include "src/area/check_area.h"
#include "src/area/confined.h"
#include "src/area/staging.h"
#include "src/area/undo_record.h"

namespace qxfs {

namespace {

void collectDirectory(const Area& area, const DirectoryCheck& check, std::set<std::string>& files) {
    for (const auto& item : check.listing.items) {
        if (item.isLink()) {
            files.insert(area.templateFile(item.link));
        }
    }
    if (!check.index.has_value()) {
        return;
    }
    for (const auto& entry : check.index->entries) {
        if (entry.link.has_value()) {
            files.insert(area.templateFile(*entry.link + "/" + entry.name));
        }
    }
}

/// Gives a link text of one template cache another one of the same length.
/// @return false for a link of anything else.
bool rewrite(std::string& link, const std::string& oldId, const std::string& newId) {
    constexpr std::string_view kCaches = "////vc/";
    const auto id = link.find_first_not_of('/', std::min(kCaches.size(), link.size()));
    if (!link.starts_with(kCaches) || id == std::string::npos ||
        link.compare(id, oldId.size(), oldId) != 0) {
        return false;
    }
    link.replace(id, oldId.size(), newId);
    return true;
}

class Cloner {
public:
    Cloner(const Area& area, const std::string& oldId, const std::string& newId)
        : m_area(area), m_oldId(oldId), m_newId(newId) {}

    void visit(const DirectoryCheck& check) {
        std::vector<std::pair<std::string, std::string>> links;
        for (const auto& item : check.listing.items) {
            auto text = item.link;
            if (rewrite(text, m_oldId, m_newId)) {
                links.emplace_back(item.name, std::move(text));
            }
        }
        std::vector<dirindex::IndexEntry> entries;
        const bool indexConcerned =
            check.index.has_value() && check.index->sound && rewriteEntries(*check.index, entries);
        if (links.empty() && !indexConcerned) {
            return;
        }
        // A link made since the directory was read must not lead the changes elsewhere.
        const auto directory = openDirectory(m_area, check.path);
        if (!directory) {
            fail("open the directory", m_area.absolute(check.path));
            return;
        }
        for (auto& [name, text] : links) {
            replace(directory.get(), check.path, name, std::move(text));
        }
        if (indexConcerned) {
            std::string bytes;
            std::string error;
            if (dirindex::buildIndex(entries, bytes, error)) {
                replace(directory.get(), check.path, kIndexName, std::move(bytes));
            } else {
                failures.push_back(m_area.absolute(check.path) + ": " + error);
            }
        }
    }

    std::vector<std::string> failures;
    std::uint64_t changed = 0;

private:
    void fail(const std::string& what, const std::string& path) {
        failures.push_back("can't " + what + " '" + path + "': " + reasonBelow());
    }

    /// @return false when the index has no entry of the old cache.
    bool rewriteEntries(const dirindex::IndexFile& index,
                        std::vector<dirindex::IndexEntry>& entries) const {
        // Entries share their link strings, before and after.
        std::map<std::string, dirindex::SharedText> links;
        entries = index.entries;
        for (auto& entry : entries) {
            auto text = entry.link.value_or("");
            const auto known = links.find(text);
            if (known != links.end()) {
                entry.link = known->second;
            } else if (const auto old = text; rewrite(text, m_oldId, m_newId)) {
                entry.link = links.emplace(old, std::move(text)).first->second;
            }
        }
        return !links.empty();
    }

    const Staging& staging() {
        if (!m_staging.has_value()) {
            const auto top = m_area.isPrivate() ? base::openSuspect(m_area.privateDir.c_str(),
                                                                    O_RDONLY | O_DIRECTORY)
                                                : base::Fd();
            m_staging.emplace(top.get());
        }
        return *m_staging;
    }

    /// Gives a link or index another content; all else about it stays.
    void replace(int directory, const std::string& inside, const std::string& name,
                 std::string content) {
        PathState state;
        if (readState(directory, name, true, state)) {
            state.content = std::move(content);
            if (recreate(staging(), directory, name, state)) {
                ++changed;
                return;
            }
        }
        fail("rewrite", m_area.absolute(joined(inside, name)));
    }

    const Area& m_area;
    const std::string& m_oldId;
    const std::string& m_newId;
    std::optional<Staging> m_staging;
};

/// Visits every directory of an area whose content and index can be read.
template <typename Visit>
std::vector<std::string> visitDirectories(const Area& area, const Visit& visit) {
    std::vector<std::string> failures;
    // Template files are not examined here: the area may refer to missing ones.
    auto blind = area;
    blind.templateRoot.clear();
    walkArea([&](const std::string& path) {
        using enum FindingCode;
        auto check = checkDirectory(blind, path);
        for (const auto& found : check.findings) {
            constexpr std::array kUnread{rootMissing,       mountLeftOut,   directoryUnreadable,
                                         indexUnreadable,   indexWrongType, indexDamaged,
                                         shortcutUnreadable};
            if (std::find(kUnread.begin(), kUnread.end(), found.finding.code) != kUnread.end()) {
                failures.push_back(describe(found.finding));
            }
        }
        visit(check);
        return check;
    });
    return failures;
}

}  // namespace

std::vector<std::string> collectUsed(const Area& area, std::set<std::string>& files) {
    return visitDirectories(
        area, [&](const DirectoryCheck& check) { collectDirectory(area, check, files); });
}

std::vector<std::string> cloneArea(const Area& area, const std::string& oldId,
                                   const std::string& newId, std::uint64_t& changed) {
    Cloner cloner(area, oldId, newId);
    auto failures =
        visitDirectories(area, [&](const DirectoryCheck& check) { cloner.visit(check); });
    failures.insert(failures.end(), cloner.failures.begin(), cloner.failures.end());
    changed = cloner.changed;
    return failures;
}

}  // namespace qxfs
