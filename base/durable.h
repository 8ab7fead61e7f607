// Changes on disk that survive a power cut: written beside, flushed, renamed, the folder flushed.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/fd.h"

namespace base {

/// A file that takes its place when it is whole: until then it has a temporary name beside it,
/// which ends as the final one does (an ending may choose a compression), and it is removed again
/// unless finish() renamed it.
class FileBeside {
public:
    explicit FileBeside(const std::string& path);
    ~FileBeside();
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    /// False with errno, right after the construction, when it could not be made.
    explicit operator bool() const { return static_cast<bool>(m_fd); }
    [[nodiscard]] int get() const { return m_fd.get(); }

    /// Gives it its mode, flushes it, renames it and flushes the folder. False with the reason in
    /// `error`; the place is then as it was, unless only the folder could not be flushed.
    bool finish(mode_t mode, std::string& error);

private:
    std::string m_path;
    std::string m_beside;
    Fd m_fd;
    bool m_renamed = false;
};

/// Replaces a file's content at once: a reader sees the old or the new one, also after a power cut.
/// An existing file keeps its mode and, as far as this process may give it, its owner; it is
/// replaced itself, never the target of a link in its place.
/// @param mode  of a file that is not there yet.
/// @return false with the reason in `error`; nothing is then left beside the file, which is the old
///         one, unless its folder could not be flushed: then it is the new one, not yet for good.
bool replaceFile(const std::string& path, std::string_view content, std::string& error,
                 mode_t mode = 0644);

/// Writes a file beside, flushes it, and renames it to `name` in the opened `directory`. The
/// temporary name is always the same, so callers hold a lock against other writers.
/// @param beside   the temporary name; "." + name + ".new" when empty.
/// @param staging  an opened directory that has the temporary name instead; -1: `directory` has it.
/// False with errno, and nothing is left beside; when only the directory could not be flushed, the
/// file is in place all the same.
bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode = 0644, std::string beside = {}, int staging = -1);

/// The path of the folder that holds a path: "." for a name alone, "/" for what is in the root.
std::string folderOf(const std::string& path);

/// Flushes an open directory's entries; false with errno.
bool flushDirectory(int directory);

/// Makes renames and removals in a folder durable. False with the reason in `error`.
bool flushDirectory(const std::string& path, std::string& error);

/// Exchanges two existing files or trees of one file system in one step.
/// False with the reason in `error`; nothing is then changed.
bool swapPaths(const std::string& a, const std::string& b, std::string& error);

/// Renames to a name that must not exist yet (EEXIST otherwise) and flushes the folder of `to`.
bool renameNew(const std::string& from, const std::string& to, std::string& error);

/// Makes a folder and those above it (mode 0755). False with the reason in `error`.
bool makeDirectories(const std::string& path, std::string& error);

}  // namespace base
