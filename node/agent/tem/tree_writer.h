// Builds a tree of files in an empty directory that only we write to.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>

#include "base/fd.h"

namespace QXA::tem {

/// Paths are relative and already checked (no "..", not absolute). Directories that are missing in
/// a path are made; a path through a link, or a second entry of one name, throws Failure
/// kTemDamaged; what cannot be written throws kNoCode.
class TreeWriter {
public:
    /// @param root  borrowed; must stay open.
    explicit TreeWriter(int root) : m_root(root) {}

    /// A regular file that is being written.
    class File {
    public:
        File(base::Fd fd, std::string path, const struct stat& attributes)
            : m_fd(std::move(fd)), m_path(std::move(path)), m_attributes(attributes) {}

        void write(const char* data, std::size_t size, std::int64_t offset);
        /// Gives the file its size (holes at its end count) and its attributes.
        void finish(std::int64_t size);

    private:
        base::Fd m_fd;
        std::string m_path;
        struct stat m_attributes;
    };

    File file(const std::string& path, const struct stat& attributes);
    void symbolicLink(const std::string& path, const std::string& target,
                      const struct stat& attributes);
    /// A further name for a regular file of the tree. @return the file's mode.
    mode_t hardLink(const std::string& path, const std::string& target);
    /// A directory, "" being the root; may come after what it holds and more than once.
    void directory(const std::string& path, const struct stat& attributes);

    /// Gives directories their attributes: only now, since writing into them changes their times
    /// and may need a mode that they will not have.
    void finish();

private:
    /// The parent directory of `path`, made when missing.
    int parentOf(const std::string& path, std::string& name);

    int m_root;
    std::string m_parentPath;  ///< archives list a directory's files in a row: kept open
    base::Fd m_parent;
    std::map<std::string, struct stat> m_directories;
};

}  // namespace QXA::tem
