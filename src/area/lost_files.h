// Items that repairs set aside: a private area's lost_files holds them under the paths they had.
#pragma once

#include <string>

#include "src/area/area.h"
#include "src/area/undo_record.h"

namespace qxfs {

/// Moves an item to lost_files; the undo record gets it first. Follows no link on the way.
/// @param inside     path of the item inside the container.
/// @param directory  the directory that holds it, opened.
/// @return false with the reason in `error`; a tree that is no private area has no lost_files.
bool moveToLost(const Area& area, const std::string& inside, int directory, UndoRecord& undo,
                std::string& error);

/// Moves an item of lost_files back to where it came from. @return false with the reason in
/// `error`.
bool restoreLost(const Area& area, const std::string& inside, std::string& error);

}  // namespace qxfs
