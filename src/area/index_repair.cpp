// Plans the new index of a directory.
#include "src/area/index_repair.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/content.h"
#include "base/tree.h"
#include "src/area/undo_record.h"
#include "src/index/format.h"

namespace qxfs {

namespace {

/// Entries without a template file that are kept of a damaged index, and how many of them are
/// named: a container may have made it up to fill our memory.
constexpr std::size_t kMaxKeptLost = 100000;
constexpr std::size_t kMaxNamedLost = 1000;

bool isDots(const std::string& name) {
    return name == "." || name == "..";
}

bool isSystemName(const std::string& name) {
    return name == dirindex::kIndexName || name == dirindex::kPackageRefName ||
           name == dirindex::kNewIndexName;
}

bool isPossibleName(const std::string& name) {
    return !name.empty() && name.size() <= kNameMax && name.find('/') == std::string::npos &&
           !isSystemName(name);
}

/// True for a record that a block can hold.
bool fitsBlock(const std::string& name, const std::string& link) {
    return dirindex::kRecordHeadSize + dirindex::padded(name.size()) + dirindex::kTextInLinkRecord +
               dirindex::padded(link.size()) <=
           dirindex::kBlockSize;
}

void takeState(dirindex::IndexEntry& entry, const struct stat& info, std::uint32_t tag) {
    entry.type = entry_type(info.st_mode);
    entry.ino = tag;
}

}  // namespace

void IndexRepair::mend() {
    auto& index = m_check.index;
    if (!index.has_value() || !index->sound || index->checksum != dirindex::ChecksumState::wrong) {
        return;
    }
    auto bytes = base::readSuspect(m_directory, dirindex::kIndexName, kMaxRecordedContent);
    if (!bytes || !dirindex::mendFlippedBit(*bytes)) {
        return;
    }
    auto mended = dirindex::decodeIndex(std::move(*bytes));
    if (mended.sound && mended.entries.size() == index->entries.size()) {
        m_before = std::move(index->entries);
        index->entries = std::move(mended.entries);
    }
}

bool IndexRepair::wasMistaken(const DirectoryFinding& found) const {
    return found.entry < m_before.size() &&
           !(m_before[found.entry] == m_check.index->entries[found.entry]);
}

void IndexRepair::plan(const DirectoryFinding& found) {
    using enum FindingCode;
    m_changed = true;
    switch (found.finding.code) {
        case indexDamaged:
        case indexOfOther:
        case indexWrongType:
            rebuild(found);
            break;
        case indexLinkDamaged:
            correctLink(found);
            break;
        case nameNotIndexed:
            if (!m_rebuilt && (m_before.empty() || !isKnown(found.name))) {
                add(entryOfName(found.name), m_check.listing.find(found.name));
            }
            break;
        default:
            if (!m_rebuilt && found.entry != DirectoryFinding::kNoEntry) {
                planEntry(found);
            }
    }
}

void IndexRepair::planEntry(const DirectoryFinding& found) {
    using enum FindingCode;
    auto& entry = entries()[found.entry];
    const auto code = wasMistaken(found) ? linkLost : found.finding.code;
    if (code == entryDouble || !isPossibleName(entry.name)) {
        m_dropped.push_back(found.entry);
        return;
    }
    if (entry.link.has_value() && code != linkOutside && is_magic_link(entry.link->c_str())) {
        const auto state = m_templates.find(*entry.link, entry.name);
        if (state.exists) {
            return takeState(entry, state.info, templateTag(state.info));
        }
        if (isKept(*entry.link, state) || recoverName(entry)) {
            return;
        }
    }
    // What stands in place is what the name means from now on.
    const auto* item = m_check.listing.find(entry.name);
    if (auto own = entryOfName(entry.name)) {
        entry = std::move(*own);
        noteReplaced(entry, item);
    } else {
        m_dropped.push_back(found.entry);
    }
}

/// True when it cannot be told that a template file is gone, or its whole template is.
bool IndexRepair::isKept(const std::string& link, const TemplateState& state) {
    return state.failure != 0 || m_templates.missingTemplate(link).has_value();
}

/// All entries of a link string share its text.
void IndexRepair::correctLink(const DirectoryFinding& found) {
    if (m_rebuilt || !m_before.empty() || found.entry >= entries().size()) {
        return;
    }
    const auto damaged = entries()[found.entry].link;
    const dirindex::SharedText corrected(found.link);
    for (auto& entry : entries()) {
        if (entry.link.has_value() && entry.link == damaged) {
            entry.link = corrected;
        }
    }
}

bool IndexRepair::isKnown(const std::string& name) {
    if (m_names.empty()) {
        for (const auto& entry : entries()) {
            m_names.insert(entry.name);
        }
    }
    return m_names.contains(name);
}

/// A damaged name is found again by the inode tag, which is that of the template file.
bool IndexRepair::recoverName(Entry& entry) {
    auto [known, isNew] = m_tagged.try_emplace(*entry.link);
    if (isNew) {
        const base::Fd directory(
            open(m_area.templateFile(*entry.link).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const auto names = directory ? base::namesIn(directory.get()) : std::nullopt;
        for (const auto& name : names.value_or(std::vector<std::string>())) {
            const auto state = m_templates.find(*entry.link, name);
            if (state.exists && !isKnown(name) && m_check.listing.find(name) == nullptr) {
                known->second.emplace(templateTag(state.info), name);
            }
        }
    }
    const auto found = known->second.find(entry.ino);
    if (found == known->second.end()) {
        return false;
    }
    entry.name = found->second;
    m_names.insert(entry.name);
    known->second.erase(found);
    const auto state = m_templates.find(*entry.link, entry.name);
    entry.type = entry_type(state.info.st_mode);
    return true;
}

std::optional<dirindex::IndexEntry> IndexRepair::entryOf(const DirectoryItem& item) {
    if (item.failure != 0) {
        return std::nullopt;
    }
    Entry entry;
    entry.name = item.name;
    takeState(entry, item.info, ownTag(item.info));
    const auto slash = item.link.rfind('/');
    // Only a link whose template file has the same name can be found again through an index.
    if (!item.isLink() || !m_area.looksAtTemplates() || slash < 3 ||
        item.link.substr(slash + 1) != item.name) {
        return entry;
    }
    const auto link = item.link.substr(0, slash);
    const auto state = m_templates.find(link, item.name);
    if (state.exists && fitsBlock(item.name, link)) {
        takeState(entry, state.info, templateTag(state.info));
        entry.link = link;
    }
    return entry;
}

/// Of an item, or of the directory itself or the one above it, which no listing holds.
std::optional<dirindex::IndexEntry> IndexRepair::entryOfName(const std::string& name) {
    if (const auto* item = m_check.listing.find(name)) {
        return entryOf(*item);
    }
    DirectoryItem dots;
    dots.name = name;
    if (!isDots(name) || fstatat(m_directory, name.c_str(), &dots.info, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    return entryOf(dots);
}

void IndexRepair::add(std::optional<Entry> entry, const DirectoryItem* item) {
    if (!entry.has_value()) {
        return;
    }
    noteReplaced(*entry, item);
    entries().push_back(std::move(*entry));
}

void IndexRepair::noteReplaced(const Entry& entry, const DirectoryItem* item) {
    if (item != nullptr && entry.link.has_value() &&
        !mustStay(m_directory, *item, m_templates.find(*entry.link, entry.name).info)) {
        m_replaced.push_back(entry.name);
    }
}

void IndexRepair::rebuild(const DirectoryFinding& found) {
    using enum FindingCode;
    m_rebuilt = true;
    if (!m_check.index.has_value()) {
        m_check.index.emplace();
    }
    m_check.index->sound = true;
    entries().clear();
    m_dropped.clear();
    for (const char* dots : {".", ".."}) {
        add(entryOfName(dots), nullptr);
    }
    for (const auto& item : m_check.listing.items) {
        if (!isSystemName(item.name)) {
            add(entryOf(item), &item);
        }
    }
    auto bytes = found.finding.code == indexWrongType
                     ? std::nullopt
                     : base::readSuspect(m_directory, dirindex::kIndexName, kMaxRecordedContent);
    if (!bytes || !addSalvaged(std::move(*bytes), found.finding.code == indexOfOther)) {
        tell(entriesLost);
    }
}

/// @return true when nothing of the index was lost.
bool IndexRepair::addSalvaged(std::string bytes, bool ofOther) {
    dirindex::mendFlippedBit(bytes);
    m_names.clear();
    m_links.clear();
    m_linksLeft = bytes.size();
    bool complete = true;
    // What is whole comes first: of two records of a name it is the better one.
    for (const bool whole : {true, false}) {
        const bool all = dirindex::salvageRecords(bytes, [&](const auto& record) {
            if (record.whole == whole && !record.link.empty()) {
                const bool foreign = ofOther && !record.link.ends_with(m_check.path);
                complete = (!foreign && keepSalvaged(record)) && complete;
            }
        });
        complete = (all || !whole) && complete;
    }
    return complete;
}

/// @return false for an entry that is lost.
bool IndexRepair::keepSalvaged(const dirindex::SalvagedRecord& record) {
    const std::string name(record.name);
    if (!isPossibleName(name) || isDots(name) || m_check.listing.find(name) != nullptr ||
        m_names.contains(name)) {
        return true;
    }
    const std::string link(record.link);
    const auto state = m_area.looksAtTemplates() ? m_templates.find(link, name) : TemplateState{};
    const bool plausible = record.whole && (record.type == 8 || record.type == 10);
    if (!state.exists && (!plausible || m_keptLost == kMaxKeptLost)) {
        return !record.whole;
    }
    auto [text, isNew] = m_links.try_emplace(record.linkPlace);
    if (isNew) {
        if (link.size() > m_linksLeft) {
            m_links.erase(text);
            return false;
        }
        m_linksLeft -= link.size();
        text->second = link;
    }
    Entry entry{record.type, record.ino, name, text->second};
    if (state.exists) {
        takeState(entry, state.info, templateTag(state.info));
    } else if (m_area.looksAtTemplates()) {
        // Kept, so that the next check reports it, too.
        ++m_keptLost;
        tellLost(link, name);
    }
    m_names.insert(name);
    entries().push_back(std::move(entry));
    return true;
}

void IndexRepair::tellLost(const std::string& link, const std::string& name) {
    if (const auto missing = m_templates.missingTemplate(link)) {
        if (m_missing.insert(*missing).second) {
            tell(FindingCode::templateMissing, "", m_area.templateRoot + "/" + *missing);
        }
    } else if (++m_namedLost <= kMaxNamedLost) {
        tell(FindingCode::linkLost, name, m_area.templateFile(link + "/" + name));
    }
}

bool IndexRepair::holdsAny(const std::vector<std::string>& names) {
    return m_check.index.has_value() && m_check.index->sound && !names.empty() &&
           std::any_of(entries().begin(), entries().end(), [&](const Entry& entry) {
               return std::binary_search(names.begin(), names.end(), entry.name);
           });
}

/// True for an entry that shows something although nothing stands in its place.
bool IndexRepair::isBehind(const Entry& entry) {
    if (!entry.link.has_value() || !m_area.looksAtTemplates()) {
        return false;
    }
    const auto state = m_templates.find(*entry.link, entry.name);
    return state.exists || isKept(*entry.link, state);
}

void IndexRepair::dropGone(const std::vector<std::string>& names) {
    if (!holdsAny(names)) {
        return;
    }
    for (std::size_t place = 0; place < entries().size(); ++place) {
        const auto& entry = entries()[place];
        if (std::binary_search(names.begin(), names.end(), entry.name) && !isBehind(entry)) {
            m_dropped.push_back(place);
            m_changed = true;
        }
    }
}

const std::vector<dirindex::IndexEntry>& IndexRepair::finish() {
    std::sort(m_dropped.begin(), m_dropped.end());
    auto dropped = m_dropped.begin();
    std::size_t kept = 0;
    for (std::size_t place = 0; place < entries().size(); ++place) {
        if (dropped != m_dropped.end() && *dropped == place) {
            dropped = std::upper_bound(dropped, m_dropped.end(), place);
        } else {
            if (kept != place) {
                entries()[kept] = std::move(entries()[place]);
            }
            ++kept;
        }
    }
    entries().resize(kept);
    m_dropped.clear();
    return entries();
}

void IndexRepair::tell(FindingCode code, const std::string& name, const std::string& file) {
    DirectoryFinding found;
    found.finding.code = code;
    found.finding.path = name.empty() ? m_check.path : joined(m_check.path, name);
    found.finding.templateFile = file;
    found.name = name;
    m_told.push_back(std::move(found));
}

}  // namespace qxfs
