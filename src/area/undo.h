// Puts back what an undo record says was changed.
#pragma once

#include <string>

#include "src/area/undo_record.h"

namespace qxfs {

/// Undoes all changes, the last one first. Nothing outside of the record's area is looked at or
/// touched, and no link is followed: a path on which one stands now ends the undoing.
/// @return false with the reason in `error`; what came after the step that failed is undone then.
bool undoChanges(const RecordedChanges& changes, std::string& error);

}  // namespace qxfs
