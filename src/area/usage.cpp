// Collects and rewrites the references of an area to template files.
#include "src/area/usage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "src/area/check_area.h"
#include "src/area/confined.h"
#include "src/qxfsutil.h"

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

/// Puts a symbolic link with another target in the place of one, made beside it first: under the
/// name that a check knows as left over.
bool replaceSymlink(const std::string& name, const std::string& target, const struct stat& info) {
    unlink(dirindex::kNewIndexName);
    return symlink(target.c_str(), dirindex::kNewIndexName) == 0 &&
           set_attr(dirindex::kNewIndexName, &info) == 0 &&
           rename(dirindex::kNewIndexName, name.c_str()) == 0;
}

class Cloner {
public:
    Cloner(const Area& area, const std::string& oldId, const std::string& newId)
        : m_area(area), m_oldId(oldId), m_newId(newId) {}

    void visit(const DirectoryCheck& check) {
        std::vector<const DirectoryItem*> links;
        for (const auto& item : check.listing.items) {
            if (item.isLink() && isConcerned(item.link)) {
                links.push_back(&item);
            }
        }
        const bool indexConcerned =
            check.index.has_value() && check.index->sound &&
            std::any_of(check.index->entries.begin(), check.index->entries.end(),
                        [&](const dirindex::IndexEntry& entry) {
                            return entry.link.has_value() && isConcerned(*entry.link);
                        });
        if (links.empty() && !indexConcerned) {
            return;
        }
        // A link that was planted since the directory was read must not lead the changes elsewhere.
        const auto directory = openDirectory(m_area, check.path);
        if (!directory) {
            fail("open the directory", m_area.absolute(check.path));
            return;
        }
        const WorkingDirectory here(directory.get());
        if (!here.entered()) {
            fail("work in the directory", m_area.absolute(check.path));
            return;
        }
        for (const auto* item : links) {
            cloneLink(check.path, *item);
        }
        if (indexConcerned) {
            cloneIndex(check.path);
        }
    }

    std::vector<std::string> failures;
    std::uint64_t changed = 0;

private:
    bool rewrite(std::string& link) const {
        return correct_magic_uuid(link.data(), m_oldId.c_str(), m_newId.c_str()) == 1;
    }
    [[nodiscard]] bool isConcerned(std::string link) const { return rewrite(link); }

    void fail(const std::string& what, const std::string& path) {
        failures.push_back("can't " + what + " '" + path + "': " + reasonBelow());
    }

    void cloneLink(const std::string& directory, const DirectoryItem& item) {
        auto text = item.link;
        rewrite(text);
        const bool done = item.isSymlink() ? replaceSymlink(item.name, text, item.info)
                                           : make_shortcut(item.name.c_str(), text.data(),
                                                           text.size(), &item.info) == 0;
        if (done) {
            ++changed;
        } else {
            fail("rewrite the link", m_area.absolute(joined(directory, item.name)));
        }
    }

    void cloneIndex(const std::string& directory) {
        unlink(dirindex::kNewIndexName);
        struct stat info {};
        if (lstat(dirindex::kIndexName, &info) == 0 &&
            clone_dirindex(dirindex::kIndexName, dirindex::kNewIndexName, m_oldId.c_str(),
                           m_newId.c_str()) == 0 &&
            set_attr(dirindex::kNewIndexName, &info) == 0 &&
            dirindex::readIndexFile(AT_FDCWD, dirindex::kNewIndexName).sound &&
            rename(dirindex::kNewIndexName, dirindex::kIndexName) == 0) {
            ++changed;
            return;
        }
        fail("rewrite the index", m_area.absolute(joined(directory, dirindex::kIndexName)));
        unlink(dirindex::kNewIndexName);
    }

    const Area& m_area;
    const std::string& m_oldId;
    const std::string& m_newId;
};

/// Visits every directory of an area as far as its directories and indexes can be read.
template <typename Visit>
std::vector<std::string> visitDirectories(const Area& area, const Visit& visit) {
    std::vector<std::string> failures;
    // Template files are not looked at here: what an area refers to is wanted, be it there or not.
    auto blind = area;
    blind.templateRoot.clear();
    walkArea([&](const std::string& path) {
        auto check = checkDirectory(blind, path);
        for (const auto& found : check.findings) {
            const auto code = found.finding.code;
            if (code == FindingCode::directoryUnreadable || code == FindingCode::indexUnreadable ||
                code == FindingCode::indexDamaged || code == FindingCode::shortcutUnreadable) {
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
