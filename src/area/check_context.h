// The directory that is being checked, for the parts of the check. Private to the check.
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

    /// Reports a template that does not exist at all, once.
    /// @param item  the item that refers to it; null: an entry does.
    void addMissing(const std::string& name, const DirectoryItem* item);

    /// True, with a note, if something is mounted on an item: it hides the area's file, so nothing
    /// else is checked. The note for a directory comes when the walk reaches it.
    bool isMounted(const DirectoryItem& item);

    /// True if the item has a finding.
    [[nodiscard]] bool isFaulty(const DirectoryItem& item) const { return m_faulty[placeOf(item)]; }

    [[nodiscard]] std::size_t placeOf(const DirectoryItem& item) const {
        return static_cast<std::size_t>(&item - check.listing.items.data());
    }

    const Area& area;
    DirectoryCheck& check;
    const int directory;  ///< opened
    TemplateLookup& templates;
    const std::string place;  ///< the directory's path in the form that links have

private:
    std::set<std::string> m_missing;  ///< templates
    std::vector<bool> m_faulty;       ///< items with a finding
};

/// Checks the items of the directory, and collects its subdirectories.
void checkItems(CheckContext& context);

/// Checks an index whose structure has no errors.
void checkIndex(CheckContext& context);

}  // namespace qxfs
