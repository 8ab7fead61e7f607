// Puts back what an undo record says was changed.
#pragma once

#include <string>
#include <vector>

#include "src/area/undo_record.h"

namespace qxfs {

/// Undoes all changes, the last one first, and flushes what was put back. Nothing outside of the
/// record's area is looked at or touched, and no link is followed. What cannot be put back is left
/// as it is, and so is what is in the place of something that was moved away.
/// @return messages about what could not be put back; empty when everything is as it was.
std::vector<std::string> undoChanges(const RecordedChanges& changes);

}  // namespace qxfs
