// Moves items to a private area's lost_files, where they keep their paths, and back.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"
#include "src/area/undo_record.h"

namespace qxfs {

/// Moves items of one directory to lost_files without following links. Only private areas have
/// lost_files.
class LostDirectory {
public:
    /// @param inside     path of the directory inside the container.
    /// @param directory  the same, opened; it must stay open.
    LostDirectory(const Area& area, std::string inside, int directory)
        : m_area(area), m_inside(std::move(inside)), m_directory(directory) {}

    /// Records that an item is about to be moved. @return false with the reason in `error`: it must
    /// then not be moved.
    bool record(const std::string& name, UndoRecord& undo, std::string& error);

    /// Moves an item after its record was flushed. @return false with the reason in `error`.
    bool move(const std::string& name, std::string& error);

    /// Flushes all moves. @return false with the reason in `error`.
    bool flush(std::string& error) const;

private:
    bool find(std::string& error);

    const Area& m_area;
    std::string m_inside;
    int m_directory;
    base::Fd m_top;                      ///< the private area
    std::string m_below;                 ///< the directory in lost_files, below the private area
    std::vector<std::string> m_missing;  ///< directories to make in it, outermost first
    base::Fd m_to;                       ///< set after the first move
};

/// Moves an item of lost_files back to its place and flushes both directories.
/// @return false with the reason in `error`.
bool restoreLost(const Area& area, const std::string& inside, std::string& error);

}  // namespace qxfs
