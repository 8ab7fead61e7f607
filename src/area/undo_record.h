// Undo records: what a repair changes, written down before it is changed.
//
// A record is a text file of JSON objects, one a line, each flushed to the device before the change
// that it describes. The first line names the area and the version of the form (without one: 1).
// Nothing outside of the area is ever touched: areas belong to containers, which may plant links
// between a repair and its undoing. Undoing goes from the last line to the first; each step may be
// repeated, so an interrupted undo is simply run again.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/fd.h"

namespace qxfs {

/// What a path was before a change.
struct PathState {
    enum class Kind : std::uint8_t { absent, regular, symlink, other };
    Kind kind = Kind::absent;
    std::uint32_t mode = 0;
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    timespec accessed{};
    timespec modified{};
    std::string content;  ///< of a regular file, or the target of a symbolic link

    /// True when both are the same but for their times.
    [[nodiscard]] bool holdsSame(const PathState& other) const {
        return kind == other.kind && mode == other.mode && uid == other.uid && gid == other.gid &&
               content == other.content;
    }
};

struct UndoStep {
    enum class Kind : std::uint8_t {
        restore,  ///< `path` was as `state` says
        move,     ///< `path` was moved to `movedTo`
    };
    Kind kind = Kind::restore;
    std::string path;                          ///< absolute
    std::string movedTo;                       ///< absolute; of a move
    std::vector<std::string> madeDirectories;  ///< made for the move, outermost first
    PathState state;   ///< of `path` before; of a move, nothing but its kind
    PathState parent;  ///< times of the directory that holds `path`
};

/// Largest file whose content goes into a record; bigger ones are moved aside, never changed.
inline constexpr std::uint64_t kMaxRecordedContent = 256ULL << 20;

/// Reads the state of a name in an opened directory ("." is the directory itself), its content when
/// `withContent`. Follows no link. @return false with errno set when it cannot be read or is too
/// large.
bool readState(int directory, const std::string& name, bool withContent, PathState& state);

/// Gives a name in an opened directory owner, mode and times of a state. Follows no link; something
/// of another type is left as it is. @return false with errno.
bool writeAttributes(int directory, const std::string& name, const PathState& state);
bool writeTimes(int directory, const std::string& name, const PathState& state);

/// Appends steps to a record. What could not be written whole is cut off again, so that a full disk
/// leaves a record that can be read.
class UndoRecord {
public:
    /// Opens `file`, which must not exist yet, for changes below the directory `area` (absolute).
    /// @return false with the reason in `error`.
    bool open(const std::string& file, const std::string& area, std::string& error);
    [[nodiscard]] bool isOpen() const { return static_cast<bool>(m_descriptor); }
    [[nodiscard]] const std::string& file() const { return m_file; }
    /// True when a step is on the device, so that a change may have been made.
    [[nodiscard]] bool hasSteps() const { return m_flushed > m_head; }

    /// Writes a step. The change may be made after the next flush(). Without an open record nothing
    /// is written. @return false with errno set; the change must then not be made.
    bool add(const UndoStep& step);

    /// Brings the steps that were added to the device. @return false with errno set; they are then
    /// taken out of the record, and their changes must not be made.
    bool flush();

private:
    bool cutBackTo(off_t size);

    base::Fd m_descriptor;
    std::string m_file;
    off_t m_head = 0;     ///< size of the first line
    off_t m_flushed = 0;  ///< what is on the device
    off_t m_whole = 0;    ///< what was written, up to the last whole line
    int m_broken = 0;     ///< errno of a cut that failed: nothing may follow what is left there
};

/// What a record holds.
struct RecordedChanges {
    std::string area;  ///< absolute
    std::vector<UndoStep> steps;
};

/// Reads a record. A last line that is cut short stands for a change that was not made and is left
/// out. @return false with the reason in `error`; a record of a newer version is refused.
bool readRecord(const std::string& file, RecordedChanges& changes, std::string& error);

}  // namespace qxfs
