// The checks of one directory, in this order:
//   1. the directory itself: readable, its mark and its index file agree, nothing left over;
//   2. the index as a file: structure, checksum;
//   3. every link in place: its template file is there, its type and attributes are the same;
//   4. every entry of the index: against its template file, or against the file in place;
//   5. every name in place: it stands in the index.
// A fault is reported once, where it is seen first.
#include "src/area/check_directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/name_table.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

bool isSystemName(const std::string& name) {
    return name == dirindex::kIndexName || name == dirindex::kPackageRefName ||
           name == dirindex::kNewIndexName;
}

bool isDots(const std::string& name) {
    return name == "." || name == "..";
}

bool isPossibleName(const std::string& name) {
    return !name.empty() && name.size() <= 256 && name.find('/') == std::string::npos;
}

std::string linkOf(const dirindex::IndexEntry& entry) {
    return *entry.link + "/" + entry.name;
}

class DirectoryChecker {
public:
    DirectoryChecker(const Area& area, DirectoryCheck& check)
        : m_area(area), m_check(check), m_templates(area) {}

    void run() {
        checkMark();
        checkIndexFile();
        for (const auto& item : m_check.listing.items) {
            checkItem(item);
        }
        if (m_check.index.has_value() && m_check.index->sound) {
            checkEntries();
            checkNames();
        }
    }

private:
    void add(FindingCode code, const std::string& name, const std::string& templateFile = {},
             const std::string& detail = {}, std::size_t entry = DirectoryFinding::kNoEntry) {
        DirectoryFinding found;
        found.finding.code = code;
        found.finding.path = name.empty() ? m_check.path : joined(m_check.path, name);
        found.finding.templateFile = templateFile;
        found.finding.detail = detail;
        found.name = name;
        found.entry = entry;
        m_check.findings.push_back(std::move(found));
    }

    void checkMark() {
        const auto* item = m_check.listing.find(dirindex::kIndexName);
        const bool marked = m_check.listing.isMarked();
        if (item == nullptr && marked) {
            add(FindingCode::indexMissing, "");
        }
        if (item != nullptr && !marked) {
            add(FindingCode::markMissing, "");
        }
        if (m_check.listing.find(dirindex::kNewIndexName) != nullptr) {
            add(FindingCode::temporaryLeft, dirindex::kNewIndexName);
        }
        if (item != nullptr && S_ISREG(item->info.st_mode)) {
            const auto directory = openDirectory(m_area, m_check.path);
            m_check.index = dirindex::readIndexFile(directory.get(), dirindex::kIndexName);
        }
    }

    void checkIndexFile() {
        const auto& index = m_check.index;
        if (!index.has_value()) {
            return;
        }
        if (!index->readable) {
            add(FindingCode::indexUnreadable, "", {}, index->reason);
        } else if (!index->sound) {
            add(FindingCode::indexDamaged, "", {}, index->reason);
        } else if (index->checksum == dirindex::ChecksumState::wrong) {
            add(FindingCode::checksumWrong, "");
        } else if (index->checksum == dirindex::ChecksumState::absent) {
            add(FindingCode::checksumAbsent, "");
        }
    }

    void checkItem(const DirectoryItem& item) {
        if (item.failure != 0 || item.linkUnreadable) {
            add(FindingCode::shortcutUnreadable, item.name, {},
                item.failure != 0 ? std::strerror(item.failure) : "");
            return;
        }
        if (item.isDirectory()) {
            m_check.subdirectories.push_back(joined(m_check.path, item.name));
        }
        if (!item.isLink() || !m_area.looksAtTemplates()) {
            return;
        }
        const auto file = m_area.templateFile(item.link);
        const auto state = lookUpTemplate(m_area, item.link);
        // The link of the directory itself stands for a directory, every other one for a file.
        const bool wantsDirectory = item.name == dirindex::kIndexName;
        if (!state.exists) {
            add(FindingCode::shortcutLost, item.name, file);
        } else if (wantsDirectory ? !S_ISDIR(state.info.st_mode)
                                  : !S_ISREG(state.info.st_mode) && !S_ISLNK(state.info.st_mode)) {
            add(FindingCode::shortcutTypeChanged, item.name, file);
        } else if (!wantsDirectory && !attributesAgree(item, state.info)) {
            add(FindingCode::attributesDiffer, item.name, file);
        }
    }

    void checkEntries() {
        const auto& entries = m_check.index->entries;
        const auto items = m_check.listing.items.size();
        m_indexed.resize(items);
        m_seen.reserve(entries.size() - std::min(entries.size(), items));
        for (std::size_t place = 0; place < entries.size(); ++place) {
            const auto& entry = entries[place];
            const auto* item = m_check.listing.find(entry.name);
            if (!isPossibleName(entry.name) || isSystemName(entry.name)) {
                add(FindingCode::entryNameBad, "", {}, dirindex::escaped(entry.name), place);
            } else if (!isFirst(entry, item)) {
                add(FindingCode::entryDouble, entry.name, {}, {}, place);
            } else if (entry.link.has_value()) {
                checkLinkedEntry(entry, place, item);
            } else {
                checkOwnEntry(entry, place, item);
            }
        }
        // An index shows the directory itself and the one above, as every directory does.
        for (const char* dots : {".", ".."}) {
            if (m_seen.find(dots) == base::NameTable::kNone) {
                add(FindingCode::nameNotIndexed, dots);
            }
        }
    }

    /// Notes the entry's name; false when an entry before had it. What stands in place has its
    /// mark, which is found faster than a name.
    bool isFirst(const dirindex::IndexEntry& entry, const DirectoryItem* item) {
        if (item == nullptr) {
            return m_seen.insert(entry.name);
        }
        auto mark = m_indexed[placeOf(*item)];
        const bool first = !mark;
        mark = true;
        return first;
    }

    [[nodiscard]] std::size_t placeOf(const DirectoryItem& item) const {
        return static_cast<std::size_t>(&item - m_check.listing.items.data());
    }

    void checkLinkedEntry(const dirindex::IndexEntry& entry, std::size_t place,
                          const DirectoryItem* item) {
        const bool sameLink = item != nullptr && item->link == linkOf(entry);
        if (item != nullptr && !sameLink && !item->isLink() && !isMagicDirectory(*item)) {
            add(FindingCode::entryShadowed, entry.name, m_area.templateFile(linkOf(entry)), {},
                place);
            return;
        }
        if (!m_area.looksAtTemplates()) {
            return;
        }
        const auto state = m_templates.find(*entry.link, entry.name);
        const bool typeHolds = entry.type == qxfs::entry_type(state.info.st_mode);
        if (item == nullptr && state.exists && typeHolds && entry.ino == templateTag(state.info) &&
            qxfs::is_magic_link(entry.link->c_str())) {
            return;
        }
        const auto file = m_area.templateFile(linkOf(entry));
        if (!state.exists || !qxfs::is_magic_link(entry.link->c_str())) {
            // Where the link itself stands in place, its loss is reported there.
            if (!sameLink) {
                add(FindingCode::linkLost, entry.name, file, {}, place);
            }
            return;
        }
        if (!typeHolds) {
            if (!sameLink) {
                add(FindingCode::templateTypeChanged, entry.name, file, {}, place);
            }
        } else if (entry.ino != templateTag(state.info)) {
            add(FindingCode::templateInodeChanged, entry.name, file, {}, place);
        }
        if (sameLink && !mustStay(m_area, m_check.path, *item, state.info)) {
            add(FindingCode::linkLeft, entry.name, file, {}, place);
        }
    }

    /// A directory whose own index is a link to a template directory.
    bool isMagicDirectory(const DirectoryItem& item) const {
        if (!item.isDirectory() || (item.info.st_mode & S_ISUID) == 0) {
            return false;
        }
        struct stat info {};
        const auto path =
            m_area.absolute(joined(joined(m_check.path, item.name), dirindex::kIndexName));
        return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
    }

    void checkOwnEntry(const dirindex::IndexEntry& entry, std::size_t place,
                       const DirectoryItem* item) {
        struct stat info {};
        if (isDots(entry.name)) {
            const auto path = m_area.absolute(m_check.path) + "/" + entry.name;
            if (lstat(path.c_str(), &info) != 0) {
                return;
            }
        } else {
            if (item == nullptr) {
                add(FindingCode::entryGone, entry.name, {}, {}, place);
                return;
            }
            if (item->failure != 0) {
                return;
            }
            info = item->info;
        }
        if (entry.type != qxfs::entry_type(info.st_mode)) {
            add(FindingCode::entryTypeChanged, entry.name, {}, {}, place);
        } else if (entry.ino != ownTag(info)) {
            add(FindingCode::entryInodeChanged, entry.name, {}, {}, place);
        }
    }

    void checkNames() {
        // An item with a fault of its own could not be indexed as it is; that fault is what counts.
        for (const auto& found : m_check.findings) {
            if (const auto* item = m_check.listing.find(found.name)) {
                m_indexed[placeOf(*item)] = true;
            }
        }
        const auto& items = m_check.listing.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (!m_indexed[i] && !isSystemName(items[i].name)) {
                add(FindingCode::nameNotIndexed, items[i].name);
            }
        }
    }

    const Area& m_area;
    DirectoryCheck& m_check;
    TemplateLookup m_templates;
    std::vector<bool> m_indexed;  ///< of the items in place: those that need no entry any more
    base::NameTable m_seen;       ///< names of entries with nothing in place
};

}  // namespace

TemplateState TemplateLookup::find(const std::string& link, const std::string& name) {
    if (!m_directory.has_value() || link != m_link) {
        m_link = link;
        m_directory.emplace(
            open(m_area.templateFile(link).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    TemplateState state;
    state.exists = *m_directory &&
                   fstatat(m_directory->get(), name.c_str(), &state.info, AT_SYMLINK_NOFOLLOW) == 0;
    return state;
}

TemplateState lookUpTemplate(const Area& area, const std::string& link) {
    TemplateState state;
    state.exists = lstat(area.templateFile(link).c_str(), &state.info) == 0;
    return state;
}

std::uint32_t ownTag(const struct stat& info) {
    return static_cast<std::uint32_t>(info.st_ino) * 2U;
}

std::uint32_t templateTag(const struct stat& info) {
    return ownTag(info) + 1U;
}

bool attributesAgree(const DirectoryItem& item, const struct stat& templateInfo) {
    // A symbolic link has all permissions, and so has the shortcut that one was turned into:
    // neither says anything about the file behind it.
    constexpr mode_t kPermissions = 0777;
    if (item.isSymlink() || (item.info.st_mode & kPermissions) == kPermissions) {
        return item.info.st_uid == templateInfo.st_uid && item.info.st_gid == templateInfo.st_gid;
    }
    return compare_stat(&item.info, &templateInfo) == 0;
}

bool mustStay(const Area& area, const std::string& directory, const DirectoryItem& item,
              const struct stat& templateInfo) {
    if (item.info.st_nlink > 1 || compare_stat(&item.info, &templateInfo) != 0) {
        return true;
    }
    return !item.isSymlink() &&
           check_eattr(area.absolute(joined(directory, item.name)).c_str()) == 1;
}

DirectoryCheck checkDirectory(const Area& area, const std::string& path) {
    DirectoryCheck check;
    check.path = path;
    const int failure = readDirectory(area, path, check.listing);
    if (failure != 0) {
        DirectoryFinding found;
        found.finding.code = FindingCode::directoryUnreadable;
        found.finding.path = path;
        found.finding.detail = std::strerror(failure);
        check.findings.push_back(std::move(found));
        return check;
    }
    DirectoryChecker(area, check).run();
    return check;
}

}  // namespace qxfs
