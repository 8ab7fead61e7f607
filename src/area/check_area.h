// Checks whole areas and repairs what it may.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/area/area.h"
#include "src/area/finding.h"
#include "src/area/repair.h"

namespace qxfs {

/// The result of the check of one area.
struct CheckSummary {
    std::string area;
    std::uint64_t directories = 0;
    std::uint64_t indexed = 0;  ///< directories with an index
    std::uint64_t entries = 0;  ///< index entries
    std::uint64_t findings = 0;
    std::uint64_t repaired = 0;
    std::uint64_t errorsLeft = 0;  ///< not repaired, without notes
    std::uint64_t notesLeft = 0;
    std::vector<std::string> failures;  ///< repairs that failed, and why
    std::string undoRecord;             ///< the undo record's file; empty if nothing was repaired
};

using FindingSink = std::function<void(const Finding&)>;
using ProgressSink = std::function<void(const CheckSummary&)>;

/// Calls `visit` for every directory from the root down, sorted by name; `visit` returns the
/// subdirectories to visit.
void walkArea(const std::function<DirectoryCheck(const std::string&)>& visit);

/// Checks an area. Calls `sink` with the findings, directory by directory.
/// @param undo  must be open if `policy` repairs anything.
CheckSummary checkArea(const Area& area, const RepairPolicy& policy, UndoRecord& undo,
                       const FindingSink& sink, const ProgressSink& progress);

}  // namespace qxfs
