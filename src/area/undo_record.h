// Undo records: they describe the changes of a repair before they are made.
//
// A record is a text file with one JSON object per line; each line is flushed before its change.
// The first line names the area and the version of the form (1 if missing). Nothing outside the
// area is ever changed: an area belongs to a container, which may make links between a repair and
// its undo. An undo goes from the last line to the first; each step may be repeated, so that an
// interrupted undo can simply be run again.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/fd.h"

namespace qxfs {

/// The state of a path before a change.
struct PathState {
    enum class Kind : std::uint8_t { absent, regular, symlink, other };
    Kind kind = Kind::absent;
    std::uint32_t mode = 0;
    std::uint32_t uid = 0;
    std::uint32_t gid = 0;
    timespec accessed{};
    timespec modified{};
    std::string content;  ///< of a regular file, or the target of a symbolic link

    /// True if both are the same except for their times.
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

/// Largest file whose content is put into a record; larger ones are moved, never changed.
inline constexpr std::uint64_t kMaxRecordedContent = 256ULL << 20;

/// Reads the state of a name in an opened directory ("." is the directory itself), with its content
/// if `withContent`. Follows no link. @return false with errno if it cannot be read or is too
/// large.
bool readState(int directory, const std::string& name, bool withContent, PathState& state);

/// Gives a name in an opened directory owner, mode and times of a state. Follows no link; something
/// of another type is left as it is. @return false with errno.
bool writeAttributes(int directory, const std::string& name, const PathState& state);
bool writeTimes(int directory, const std::string& name, const PathState& state);

/// Appends steps to a record. An incomplete line is cut off again, so that the record can be read
/// even after the disk was full.
class UndoRecord {
public:
    /// Opens `file`, which must not exist yet, for changes below the directory `area` (absolute).
    /// @return false with the reason in `error`.
    bool open(const std::string& file, const std::string& area, std::string& error);
    [[nodiscard]] bool isOpen() const { return static_cast<bool>(m_descriptor); }
    [[nodiscard]] const std::string& file() const { return m_file; }
    /// True if a step was flushed, so that a change may have been made.
    [[nodiscard]] bool hasSteps() const { return m_flushed > m_head; }

    /// Writes a step; does nothing without an open record. The change may be made after the next
    /// flush(). @return false with errno; the change must then not be made.
    bool add(const UndoStep& step);

    /// Flushes the added steps. @return false with errno; they are then removed from the record,
    /// and their changes must not be made.
    bool flush();

private:
    bool cutBackTo(off_t size);

    base::Fd m_descriptor;
    std::string m_file;
    off_t m_head = 0;     ///< size of the first line
    off_t m_flushed = 0;  ///< flushed bytes
    off_t m_whole = 0;    ///< written bytes, up to the end of the last whole line
    int m_broken = 0;     ///< errno if an incomplete line could not be cut off: nothing may follow
};

/// The content of a record.
struct RecordedChanges {
    std::string area;  ///< absolute
    std::vector<UndoStep> steps;
};

/// Reads a record. An incomplete last line is left out, because its change was not made.
/// @return false with the reason in `error`, also for a record of a newer version.
bool readRecord(const std::string& file, RecordedChanges& changes, std::string& error);

}  // namespace qxfs
