// Repairs what the check of a directory found, as far as it is allowed to.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"
#include "src/area/check_directory.h"
#include "src/area/undo_record.h"

namespace qxfs {

enum class RepairMode {
    report,  ///< change nothing
    preen,   ///< repairs that cannot lose anything
    yes,     ///< every repair; damaged items are moved to lost_files
    ask,     ///< ask before each
};

/// What is done about one finding.
enum class Disposal {
    leave,
    repair,
    moveAside,  ///< to lost_files
    remove,
};

/// Which repairs are wanted.
struct RepairPolicy {
    RepairPolicy(RepairMode wanted) : mode(wanted) {}

    /// What is done about a finding. One that has no repair is always left.
    [[nodiscard]] Disposal decide(const Finding& finding) const;

    RepairMode mode;
    /// Answers for each finding in the mode `ask`; without it, everything is left.
    std::function<Disposal(const Finding&)> ask;
    /// What belongs to a template that is missing as a whole is found and dropped like any other
    /// loss, instead of kept for the template's return.
    bool dropMissing = false;
};

/// Repairs the findings of one directory and marks those that were repaired. Works in that
/// directory, opened without following a link, so that one that was planted since the check leads
/// nowhere.
class DirectoryRepair {
public:
    /// @param undo gets every change before it is made.
    DirectoryRepair(const Area& area, DirectoryCheck& check, UndoRecord& undo)
        : m_area(area), m_check(check), m_undo(undo) {}

    /// @return messages about repairs that failed; empty when all that was to be done was done.
    std::vector<std::string> run(const RepairPolicy& policy);

private:
    struct Decision {
        DirectoryFinding* found;
        Disposal disposal;
    };

    std::vector<Decision> decideAll(const RepairPolicy& policy);
    void repairAll(const std::vector<Decision>& decisions);
    void repairItem(DirectoryFinding& found);
    void planEntry(DirectoryFinding& found);
    void takeTemplateState(dirindex::IndexEntry& entry);
    static void takeOwnState(dirindex::IndexEntry& entry);
    void rebuildIndex();
    void addSalvaged();
    void writeIndex();
    void recoverOrDrop(std::size_t place);
    void dropEntriesOf(const std::string& name);
    void removeItem(DirectoryFinding& found);
    void moveAside(DirectoryFinding& found);
    void setMark(DirectoryFinding& found, bool marked);
    void setAttributes(DirectoryFinding& found);
    bool record(const std::string& name, bool withContent);
    void fail(const std::string& what, const std::string& name);

    /// The entry that describes an item as it stands in place; none when no index can describe it.
    std::optional<dirindex::IndexEntry> entryOf(const DirectoryItem& item) const;
    std::optional<dirindex::IndexEntry> entryOfDots(const std::string& dots) const;
    [[nodiscard]] bool hasEntry(const std::string& name) const;

    const Area& m_area;
    DirectoryCheck& m_check;
    UndoRecord& m_undo;
    base::Fd m_directory;  ///< the directory, and the working directory of a run
    std::vector<dirindex::IndexEntry> m_entries;  ///< of the new index
    std::vector<bool> m_dropped;  ///< entries of the old index that the new one leaves out
    std::vector<DirectoryFinding*> m_byIndex;  ///< repaired once the new index is in its place
    bool m_rewrite = false;
    std::vector<std::string> m_failures;
};

}  // namespace qxfs
