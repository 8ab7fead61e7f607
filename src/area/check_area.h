// Checks whole areas and repairs what it may.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/area/area.h"
#include "src/area/finding.h"
#include "src/area/repair.h"

namespace qxfs {

/// What the check of one area came to.
struct CheckSummary {
    std::string area;
    std::uint64_t directories = 0;
    std::uint64_t indexed = 0;  ///< directories with an index
    std::uint64_t entries = 0;  ///< index entries
    std::uint64_t findings = 0;
    std::uint64_t repaired = 0;
    std::uint64_t errorsLeft = 0;  ///< not repaired, and more than notes
    std::uint64_t notesLeft = 0;
    std::vector<std::string> failures;  ///< repairs that failed, and why
    std::string undoRecord;             ///< file that undoes the repairs; empty when none was made
};

using FindingSink = std::function<void(const Finding&)>;
using ProgressSink = std::function<void(const CheckSummary&)>;

/// Calls `visit` for every directory from the root down, names in order; it answers with the
/// subdirectories to go on with.
void walkArea(const std::function<DirectoryCheck(const std::string&)>& visit);

/// Checks an area. Findings go to `sink` as they are made, directory by directory.
/// @param undo  opened by the caller; must be open when `policy` repairs anything.
CheckSummary checkArea(const Area& area, const RepairPolicy& policy, UndoRecord& undo,
                       const FindingSink& sink, const ProgressSink& progress);

}  // namespace qxfs
