// One directory while it is checked: what its checkers share. Private to the check.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "src/area/check_directory.h"

namespace qxfs {

class CheckContext {
public:
    CheckContext(const Area& anArea, DirectoryCheck& aCheck, int aDirectory,
                 TemplateLookup& someTemplates)
        : area(anArea),
          check(aCheck),
          directory(aDirectory),
          templates(someTemplates),
          place(aCheck.path == "/" ? "" : aCheck.path),
          m_faulty(aCheck.listing.items.size()) {}

    /// @param name  of the item or entry concerned; empty: the directory or its index as a whole.
    DirectoryFinding& add(FindingCode code, const std::string& name,
                          const std::string& templateFile = {}, const std::string& detail = {},
                          std::size_t entry = DirectoryFinding::kNoEntry);

    /// Reports a template that is missing as a whole, once.
    /// @param item  that refers to it; null: an entry does.
    void addMissing(const std::string& name, const DirectoryItem* item);

    /// What is mounted on an item hides what the area has there: that is all there is to say about
    /// it. A directory is told when the walk comes to it.
    bool isMounted(const DirectoryItem& item);

    /// Whether the item has a finding.
    [[nodiscard]] bool isFaulty(const DirectoryItem& item) const { return m_faulty[placeOf(item)]; }

    [[nodiscard]] std::size_t placeOf(const DirectoryItem& item) const {
        return static_cast<std::size_t>(&item - check.listing.items.data());
    }

    const Area& area;
    DirectoryCheck& check;
    const int directory;  ///< opened
    TemplateLookup& templates;
    const std::string place;  ///< the directory's path as links have it

private:
    std::set<std::string> m_missing;  ///< templates
    std::vector<bool> m_faulty;       ///< items with a finding
};

/// Checks what stands in place, and notes the directories to go on with.
void checkItems(CheckContext& context);

/// Checks an index whose structure holds.
void checkIndex(CheckContext& context);

}  // namespace qxfs
