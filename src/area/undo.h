// Undoes the changes in an undo record.
#pragma once

#include <string>
#include <vector>

#include "src/area/undo_record.h"

namespace qxfs {

/// Undoes all changes, the last one first, and flushes the results. It reads and changes nothing
/// outside the record's area and follows no link. It leaves what cannot be undone, and files that
/// are now in the place of something that was moved away.
/// @return messages about what could not be undone; empty if everything was undone.
std::vector<std::string> undoChanges(const RecordedChanges& changes);

}  // namespace qxfs
