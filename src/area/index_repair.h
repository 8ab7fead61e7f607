// The entries that the new index of a directory is to have.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "src/area/area.h"
#include "src/area/check_directory.h"
#include "src/index/salvage.h"

namespace qxfs {

/// Plans a new index from the old one, what the check found, and the files in place. Changes
/// nothing on disk.
class IndexRepair {
public:
    /// @param directory  the directory, opened; it must stay open. The entries that the check holds
    ///                   become those of the new index.
    /// @param dropMissing  what belongs to a template that is missing as a whole is lost, too.
    IndexRepair(const Area& area, DirectoryCheck& check, int directory, bool dropMissing)
        : m_area(area), m_check(check), m_directory(directory), m_templates(area, dropMissing) {}

    /// Corrects a flipped bit of the old index, where there is one and a checksum tells it. Comes
    /// before everything else.
    void mend();

    /// True when the flipped bit made the entry of this finding look wrong: a file in its place has
    /// nothing to fear.
    [[nodiscard]] bool wasMistaken(const DirectoryFinding& found) const;

    /// Plans for one finding about the index.
    void plan(const DirectoryFinding& found);

    /// Whether the index says something about one of the names, which must be sorted.
    [[nodiscard]] bool holdsAny(const std::vector<std::string>& names);

    /// Drops the entries of items that are gone now, unless they show a template file behind it.
    /// The names must be sorted.
    void dropGone(const std::vector<std::string>& names);

    [[nodiscard]] bool isChanged() const { return m_changed; }

    /// The entries of the new index. Nothing can be planned any more.
    const std::vector<dirindex::IndexEntry>& finish();

    /// Links in place that only the new index describes and that need not stay.
    [[nodiscard]] const std::vector<std::string>& replacedLinks() const { return m_replaced; }

    /// What is to be told beside the findings of the check: entries that were lost, or kept without
    /// their template file.
    std::vector<DirectoryFinding> takeTold() { return std::move(m_told); }

private:
    using Entry = dirindex::IndexEntry;
    using NamesByTag = std::multimap<std::uint32_t, std::string>;

    std::vector<Entry>& entries() { return m_check.index->entries; }
    void planEntry(const DirectoryFinding& found);
    void correctLink(const DirectoryFinding& found);
    void add(std::optional<Entry> entry, const DirectoryItem* item);
    void noteReplaced(const Entry& entry, const DirectoryItem* item);
    void rebuild(const DirectoryFinding& found);
    bool addSalvaged(std::string bytes, bool ofOther);
    bool keepSalvaged(const dirindex::SalvagedRecord& record);
    void tellLost(const std::string& link, const std::string& name);
    bool isKept(const std::string& link, const TemplateState& state);
    bool isBehind(const Entry& entry);
    bool recoverName(Entry& entry);
    bool isKnown(const std::string& name);
    void tell(FindingCode code, const std::string& name = {}, const std::string& file = {});

    /// The entry that describes an item as it is in place; none when no index can describe it.
    std::optional<Entry> entryOf(const DirectoryItem& item);
    std::optional<Entry> entryOfName(const std::string& name);

    const Area& m_area;
    DirectoryCheck& m_check;
    int m_directory;
    TemplateLookup m_templates;
    std::vector<Entry> m_before;  ///< the entries as the check saw them, where a bit was wrong
    std::vector<std::size_t> m_dropped;
    std::set<std::string> m_names;  ///< of the old entries and what was recovered, once asked for
    std::map<std::string, NamesByTag> m_tagged;  ///< template files by link string
    std::vector<std::string> m_replaced;
    std::vector<DirectoryFinding> m_told;
    std::map<std::uint32_t, dirindex::SharedText> m_links;  ///< link strings of salvaged records
    std::size_t m_linksLeft = 0;                            ///< bytes that these may still take
    std::set<std::string> m_missing;                        ///< templates that were told
    std::size_t m_keptLost = 0;
    std::size_t m_namedLost = 0;
    bool m_rebuilt = false;
    bool m_changed = false;
};

}  // namespace qxfs
