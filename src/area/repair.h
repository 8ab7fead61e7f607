// Repairs what the check of a directory found, as far as it is allowed to.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"
#include "src/area/check_directory.h"
#include "src/area/index_repair.h"
#include "src/area/lost_files.h"
#include "src/area/staging.h"
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
    /// Attributes that a container may have given its links are set only when this says so.
    bool setAttributes = false;
    /// What belongs to a template that is missing as a whole is found and dropped like any other
    /// loss, instead of kept for the template's return.
    bool dropMissing = false;
};

/// Repairs the findings of one directory, marks those that were repaired, and adds what it lost on
/// the way. Everything is written to the undo record, and that to the device, before the first
/// change. Works in that directory, opened without following a link, so that one that was planted
/// since the check leads nowhere.
class DirectoryRepair {
public:
    /// @param undo gets every change before it is made.
    DirectoryRepair(const Area& area, DirectoryCheck& check, UndoRecord& undo)
        : m_area(area), m_check(check), m_undo(undo) {}

    /// @return messages about repairs that failed; empty when all that was to be done was done.
    std::vector<std::string> run(const RepairPolicy& policy);

private:
    using Findings = std::vector<DirectoryFinding*>;

    void plan(DirectoryFinding& found, Disposal disposal);
    void planIndex(DirectoryFinding& found);
    void planExchange();
    void exchangeIndexes();
    bool decideAll(const RepairPolicy& policy);
    void recordAll();
    void recordIndex();
    void applyAll();
    void removeItems();
    void moveItems();
    void writeIndex();
    void removeReplaced();
    void setMark();
    void setAttributes(DirectoryFinding& found);
    void correctText(DirectoryFinding& found);
    void keepRecorded(Findings& findings);
    [[nodiscard]] bool isMoved(const std::string& name) const;
    [[nodiscard]] bool isGone(const std::string& name) const;

    const Staging& staging();
    UndoStep stepFor(const std::string& name) const;
    bool record(const std::string& name, bool withContent);
    bool add(int directory, const std::string& name, bool withContent, UndoStep& step);
    bool fail(const std::string& what, const std::string& name);

    const Area& m_area;
    DirectoryCheck& m_check;
    UndoRecord& m_undo;
    std::vector<std::pair<DirectoryFinding*, Disposal>> m_decisions;
    base::Fd m_directory;
    std::optional<LostDirectory> m_lost;
    std::optional<IndexRepair> m_index;
    std::optional<Staging> m_staging;
    DirectoryFinding* m_exchange = nullptr;  ///< the index is that of another directory...
    std::string m_other;                     ///< ...which has this one's
    Findings m_removals;
    Findings m_moves;
    Findings m_byIndex;  ///< repaired once the new index is in its place
    Findings m_links;    ///< links that the old index describes
    Findings m_texts;
    Findings m_attributes;
    Findings m_marks;
    std::vector<std::string> m_gone;  ///< names that were removed or moved
    bool m_marked = false;            ///< how the directory is to be
    bool m_recordedIndex = false;
    std::vector<std::string> m_failures;
};

}  // namespace qxfs
