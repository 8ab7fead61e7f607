// Repairs the findings of a directory that may be repaired.
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
    preen,   ///< only repairs that cannot lose data
    yes,     ///< every repair; damaged items are moved to lost_files
    ask,     ///< ask before each
};

/// The action for one finding.
enum class Disposal {
    leave,
    repair,
    moveAside,  ///< to lost_files
    remove,
};

/// Which repairs are wanted.
struct RepairPolicy {
    RepairPolicy(RepairMode wanted) : mode(wanted) {}

    /// The action for a finding; a finding without a repair is always left.
    [[nodiscard]] Disposal decide(const Finding& finding) const;

    RepairMode mode;
    /// Asks about each finding in the mode `ask`; if it is not set, everything is left.
    std::function<Disposal(const Finding&)> ask;
    /// Attributes that a container may have given its links are set only when this says so.
    bool setAttributes = false;
    /// If a template does not exist at all, handle its links and entries like lost ones instead of
    /// keeping them until the template is installed again.
    bool dropMissing = false;
};

/// Repairs the findings of one directory, marks them as repaired, and adds findings for entries
/// that were lost. The undo record is written and flushed before the first change. The directory is
/// opened without following links, so that a link made since the check cannot lead elsewhere.
class DirectoryRepair {
public:
    /// @param undo  receives every change before it is made.
    DirectoryRepair(const Area& area, DirectoryCheck& check, UndoRecord& undo)
        : m_area(area), m_check(check), m_undo(undo) {}

    /// @return messages about repairs that failed; empty if there are none.
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
    Findings m_byIndex;  ///< findings that the new index repairs
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
