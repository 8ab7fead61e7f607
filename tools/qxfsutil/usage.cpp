// Collects and rewrites the references of an area to template files.
#include "tools/qxfsutil/usage.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "src/qxfsutil.h"
#include "tools/qxfsutil/check_area.h"

namespace qxfsutil {

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

std::string failure(const std::string& what, const std::string& path) {
    return "can't " + what + " '" + path + "': " + std::strerror(errno);
}

/// Puts a symbolic link with another target in the place of one, beside it first.
bool replaceSymlink(const std::string& path, const std::string& target, const struct stat& info) {
    const auto fresh = path + ".~new";
    unlink(fresh.c_str());
    return symlink(target.c_str(), fresh.c_str()) == 0 && set_attr(fresh.c_str(), &info) == 0 &&
           rename(fresh.c_str(), path.c_str()) == 0;
}

class Cloner {
public:
    Cloner(const Area& area, const std::string& oldId, const std::string& newId)
        : m_area(area), m_oldId(oldId), m_newId(newId) {}

    void visit(const DirectoryCheck& check) {
        for (const auto& item : check.listing.items) {
            if (item.isLink()) {
                cloneLink(check.path, item);
            }
        }
        if (check.index.has_value() && check.index->sound) {
            cloneIndex(check);
        }
    }

    std::vector<std::string> failures;
    std::uint64_t changed = 0;

private:
    bool rewrite(std::string& link) const {
        return correct_magic_uuid(link.data(), m_oldId.c_str(), m_newId.c_str()) == 1;
    }

    void cloneLink(const std::string& directory, const DirectoryItem& item) {
        auto text = item.link;
        if (!rewrite(text)) {
            return;
        }
        const auto path = m_area.absolute(joined(directory, item.name));
        const bool done = item.isSymlink() ? replaceSymlink(path, text, item.info)
                                           : make_shortcut(path.c_str(), text.data(), text.size(),
                                                           &item.info) == 0;
        if (done) {
            ++changed;
        } else {
            failures.push_back(failure("rewrite the link", path));
        }
    }

    void cloneIndex(const DirectoryCheck& check) {
        const auto directory = m_area.absolute(check.path);
        const auto place = directory + "/" + kIndexName;
        const auto fresh = directory + "/" + kNewIndexName;
        bool concerned = false;
        for (const auto& entry : check.index->entries) {
            auto link = entry.link.value_or("");
            concerned = concerned || rewrite(link);
        }
        if (!concerned) {
            return;
        }
        unlink(fresh.c_str());
        struct stat info {};
        if (lstat(place.c_str(), &info) == 0 &&
            clone_dirindex(place.c_str(), fresh.c_str(), m_oldId.c_str(), m_newId.c_str()) == 0 &&
            set_attr(fresh.c_str(), &info) == 0 && readIndexFile(fresh).sound &&
            rename(fresh.c_str(), place.c_str()) == 0) {
            ++changed;
            return;
        }
        failures.push_back(failure("rewrite the index", place));
        unlink(fresh.c_str());
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

}  // namespace qxfsutil
