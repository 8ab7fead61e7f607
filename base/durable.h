// Changes on disk that survive a power cut: write a new file, flush, rename, flush the folder.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/fd.h"

namespace base {

/// A file that gets its final name when it is complete. Until then it has a temporary name with the
/// same ending (an ending may select a compression). The destructor removes it if it is not
/// finished.
class FileBeside {
public:
    explicit FileBeside(const std::string& path);
    ~FileBeside();
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    /// Right after the construction: false with errno if the file could not be made.
    explicit operator bool() const { return static_cast<bool>(m_fd); }
    [[nodiscard]] int get() const { return m_fd.get(); }

    /// Sets its mode, flushes it, renames it and flushes the folder. False with the reason in
    /// `error`; nothing is then replaced, unless only the flush of the folder failed.
    bool finish(mode_t mode, std::string& error);

private:
    std::string m_path;
    std::string m_beside;
    Fd m_fd;
    bool m_renamed = false;
};

/// Replaces a file's content in one step: a reader sees the old or the new content, also after a
/// power cut. An existing file keeps its mode and, if this process may set it, its owner. A
/// symbolic link at `path` is replaced, not followed.
/// @param mode  of a new file.
/// @return false with the reason in `error`. The file is then the old one and no other file
///         remains; if only the flush of the folder failed, it is the new one.
bool replaceFile(const std::string& path, std::string_view content, std::string& error,
                 mode_t mode = 0644);

/// Writes a temporary file, flushes it, and renames it to `name` in the opened `directory`. The
/// temporary name is always the same, so the caller must hold a lock against other writers.
/// @param beside   the temporary name; if empty, "." + name + ".new".
/// @param staging  an opened directory for the temporary file; -1: `directory`.
/// @return false with errno; the temporary file is then removed. If only the flush of the directory
///         failed, the file is in its place all the same.
bool writeFileDurably(int directory, const std::string& name, const std::string& content,
                      mode_t mode = 0644, std::string beside = {}, int staging = -1);

/// The folder part of a path: "." for a plain name, "/" for an entry of the root.
std::string folderOf(const std::string& path);

/// Flushes the entries of an opened directory; false with errno.
bool flushDirectory(int directory);

/// Makes renames and removals in a folder durable. False with the reason in `error`.
bool flushDirectory(const std::string& path, std::string& error);

/// Exchanges two existing files or trees of the same file system in one step.
/// False with the reason in `error`; nothing is then changed.
bool swapPaths(const std::string& a, const std::string& b, std::string& error);

/// Renames to a name that must not exist yet (EEXIST otherwise) and flushes the folder of `to`.
bool renameNew(const std::string& from, const std::string& to, std::string& error);

/// Makes a folder and its missing parents (mode 0755). False with the reason in `error`.
bool makeDirectories(const std::string& path, std::string& error);

}  // namespace base
