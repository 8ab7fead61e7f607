// Checks the index of a directory: that it belongs to it, and all its entries and names.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "base/name_table.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "src/area/check_context.h"
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

class IndexChecker {
public:
    explicit IndexChecker(CheckContext& context) : m_context(context) {}

    void run() {
        if (isOfOther()) {
            m_context.add(FindingCode::indexOfOther, "");
            return;
        }
        checkEntries();
        checkNames();
        checkAgreement();
    }

private:
    /// True if the index was written for another directory: it has another inode for this one, and
    /// nothing else in it fits. In a restored area all inodes differ, but names and paths are
    /// right.
    [[nodiscard]] bool isOfOther() const {
        const auto& entries = m_context.check.index->entries;
        const auto self = std::find_if(entries.begin(), entries.end(),
                                       [](const auto& entry) { return entry.name == "."; });
        if (self == entries.end() || self->link.has_value() ||
            self->ino == ownTag(m_context.check.listing.info)) {
            return false;
        }
        bool agrees = true;
        std::vector<bool> indexed(m_context.check.listing.items.size());
        for (const auto& entry : entries) {
            if (isDots(entry.name)) {
                continue;
            }
            const auto* item = m_context.check.listing.find(entry.name);
            if (item != nullptr) {
                indexed[m_context.placeOf(*item)] = true;
            }
            if (entry.link.has_value()) {
                agrees = agrees && placeInTemplate(*entry.link) == m_context.place;
            } else if (item != nullptr && entry.ino == ownTag(item->info)) {
                return false;
            } else {
                agrees = agrees && item != nullptr;
            }
        }
        for (std::size_t i = 0; i < indexed.size(); ++i) {
            agrees = agrees && (indexed[i] || isSystemName(m_context.check.listing.items[i].name));
        }
        return !agrees;
    }

    void checkEntries() {
        const auto& entries = m_context.check.index->entries;
        const auto items = m_context.check.listing.items.size();
        m_indexed.resize(items);
        m_seen.reserve(entries.size() - std::min(entries.size(), items));
        for (std::size_t place = 0; place < entries.size(); ++place) {
            const auto& entry = entries[place];
            const auto* item = m_context.check.listing.find(entry.name);
            if (!isPossibleName(entry.name) || isSystemName(entry.name)) {
                m_context.add(FindingCode::entryNameBad, "", {}, dirindex::escaped(entry.name),
                              place);
            } else if (!isFirst(entry, item)) {
                m_context.add(FindingCode::entryDouble, entry.name, {}, {}, place);
            } else if (entry.link.has_value()) {
                checkLinkedEntry(entry, place, item);
            } else {
                checkOwnEntry(entry, place, item);
            }
        }
        // An index shows the directory itself and the one above, as every directory does.
        for (const char* dots : {".", ".."}) {
            if (m_seen.find(dots) == base::NameTable::kNone) {
                m_context.add(FindingCode::nameNotIndexed, dots);
            }
        }
    }

    /// Records the entry's name; false if an earlier entry had it. Items of the directory are
    /// marked, because that is faster than a search for the name.
    bool isFirst(const dirindex::IndexEntry& entry, const DirectoryItem* item) {
        if (item == nullptr) {
            return m_seen.insert(entry.name);
        }
        auto mark = m_indexed[m_context.placeOf(*item)];
        const bool first = !mark;
        mark = true;
        return first;
    }

    void checkLinkedEntry(const dirindex::IndexEntry& entry, std::size_t place,
                          const DirectoryItem* item) {
        std::optional<std::string> inPlace;
        if (item != nullptr) {
            inPlace = item->isLink() ? item->link : linkOfMagicDirectory(*item);
            if (!inPlace.has_value()) {
                if (!m_context.isMounted(*item)) {
                    m_context.add(FindingCode::entryShadowed, entry.name,
                                  m_context.area.templateFile(linkOf(entry)), {}, place);
                }
                return;
            }
        }
        if (!m_context.area.looksAtTemplates()) {
            return;
        }
        const auto state = m_context.templates.find(*entry.link, entry.name);
        const bool holds = state.exists && entry.type == qxfs::entry_type(state.info.st_mode) &&
                           entry.ino == templateTag(state.info) && isInside(entry.link);
        if (item == nullptr && holds) {
            return;
        }
        if (holds || !isStringDamaged(entry, place)) {
            checkTemplateOf(entry, place, state, item, inPlace == linkOf(entry));
        }
    }

    /// True for a link string that stays in the template area.
    bool isInside(const dirindex::SharedText& link) {
        if (!(link == m_lastLink)) {
            m_lastLink = link;
            m_lastIsInside = qxfs::is_magic_link(link->c_str()) && !leadsOut(*link);
        }
        return m_lastIsInside;
    }

    /// Reports a link string with a changed bit once, and nothing else about its entries.
    bool isStringDamaged(const dirindex::IndexEntry& entry, std::size_t place) {
        auto [known, fresh] = m_strings.try_emplace(*entry.link);
        if (fresh) {
            known->second.meant = m_context.templates.intended(*entry.link, m_context.place);
        }
        auto& string = known->second;
        for (const auto& link : string.meant) {
            const auto state = lookUpTemplate(m_context.area, link + "/" + entry.name);
            if (!string.reported && state.exists && templateTag(state.info) == entry.ino) {
                string.reported = true;
                m_context
                    .add(FindingCode::indexLinkDamaged, "", m_context.area.templateFile(link),
                         dirindex::escaped(*entry.link), place)
                    .link = link;
            }
        }
        return string.reported;
    }

    void checkTemplateOf(const dirindex::IndexEntry& entry, std::size_t place,
                         const TemplateState& state, const DirectoryItem* item, bool sameLink) {
        const auto file = m_context.area.templateFile(linkOf(entry));
        if (state.failure != 0) {
            m_context.add(FindingCode::templateUnreadable, entry.name, file,
                          std::strerror(state.failure), place);
        } else if (leadsOut(*entry.link)) {
            m_context.add(FindingCode::linkOutside, entry.name, file, {}, place);
        } else if (!state.exists || !isInside(entry.link)) {
            const auto missing = isInside(entry.link)
                                     ? m_context.templates.missingTemplate(*entry.link)
                                     : std::nullopt;
            if (missing.has_value()) {
                m_context.addMissing(*missing, item);
            } else if (!sameLink) {
                // Where the link itself stands in place, its loss is reported there.
                m_context.add(FindingCode::linkLost, entry.name, file, {}, place);
            }
        } else if (item != nullptr && !sameLink && leadsElsewhere(*item, state)) {
            if (!m_context.isFaulty(*item)) {
                m_context.add(FindingCode::entryOtherLink, entry.name, file, {}, place);
            }
        } else {
            checkTags(entry, place, state, sameLink);
            if (sameLink && !mustStay(m_context.directory, *item, state.info)) {
                m_context.add(FindingCode::linkLeft, entry.name, file, {}, place);
            }
        }
    }

    void checkTags(const dirindex::IndexEntry& entry, std::size_t place, const TemplateState& state,
                   bool sameLink) {
        const auto file = m_context.area.templateFile(linkOf(entry));
        if (entry.type != qxfs::entry_type(state.info.st_mode)) {
            if (!sameLink) {
                m_context.add(FindingCode::templateTypeChanged, entry.name, file, {}, place);
            }
        } else if (entry.ino != templateTag(state.info)) {
            m_context.add(FindingCode::templateInodeChanged, entry.name, file, {}, place);
        }
    }

    /// The link of a directory whose own index is a link to a template directory.
    [[nodiscard]] std::optional<std::string> linkOfMagicDirectory(const DirectoryItem& item) const {
        return item.isDirectory() && (item.info.st_mode & S_ISUID) != 0
                   ? base::readLinkBelow(m_context.directory,
                                         item.name + "/" + dirindex::kIndexName)
                   : std::nullopt;
    }

    /// True if a link leads to an existing template file, but not to this one.
    [[nodiscard]] bool leadsElsewhere(const DirectoryItem& item, const TemplateState& state) const {
        const auto link = item.isLink() ? item.link : linkOfMagicDirectory(item).value_or("");
        const auto other = lookUpTemplate(m_context.area, link);
        return qxfs::is_magic_link(link.c_str()) && other.exists &&
               !isSameFile(other.info, state.info);
    }

    void checkOwnEntry(const dirindex::IndexEntry& entry, std::size_t place,
                       const DirectoryItem* item) {
        struct stat info {};
        if (isDots(entry.name)) {
            if (fstatat(m_context.directory, entry.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
                return;
            }
        } else {
            if (item == nullptr) {
                m_context.add(FindingCode::entryGone, entry.name, {}, {}, place);
                return;
            }
            if (item->failure != 0) {
                return;
            }
            info = item->info;
        }
        const bool sameType = entry.type == qxfs::entry_type(info.st_mode);
        if ((!sameType || entry.ino != ownTag(info)) &&
            (item == nullptr || !m_context.isMounted(*item))) {
            m_context.add(sameType ? FindingCode::entryInodeChanged : FindingCode::entryTypeChanged,
                          entry.name, {}, {}, place);
        }
    }

    void checkNames() {
        const auto& items = m_context.check.listing.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            // An item with an error cannot be indexed, and that error was reported.
            if (!m_indexed[i] && !m_context.isFaulty(items[i]) && !isSystemName(items[i].name)) {
                m_context.add(FindingCode::nameNotIndexed, items[i].name);
            }
        }
    }

    /// A link string with a changed bit is what is wrong with its index's checksum.
    void checkAgreement() {
        const auto& index = *m_context.check.index;
        if (index.checksum == dirindex::ChecksumState::wrong) {
            if (std::none_of(m_strings.begin(), m_strings.end(),
                             [](const auto& string) { return string.second.reported; })) {
                m_context.add(FindingCode::checksumWrong, "");
            }
        } else if (!index.unkeptPromise.empty()) {
            m_context.add(FindingCode::indexTableWrong, "", {}, index.unkeptPromise);
        } else if (index.checksum == dirindex::ChecksumState::absent) {
            m_context.add(FindingCode::checksumAbsent, "");
        }
    }

    /// A link string with something wrong about it or one of its entries.
    struct LinkString {
        std::vector<std::string> meant;  ///< texts that it may have been
        bool reported = false;
    };

    CheckContext& m_context;
    std::map<std::string, LinkString> m_strings;
    dirindex::SharedText m_lastLink;
    bool m_lastIsInside = false;
    std::vector<bool> m_indexed;  ///< of the items in place: those that need no entry any more
    base::NameTable m_seen;       ///< names of entries with nothing in place
};

}  // namespace

void checkIndex(CheckContext& context) {
    IndexChecker(context).run();
}

}  // namespace qxfs
