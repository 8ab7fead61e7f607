// Builds a tree of files in an empty directory to which nobody else writes.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>

#include "base/fd.h"

namespace QXA::tem {

/// Paths are relative and the caller has checked them (no "..", not absolute). Missing directories
/// of a path are made. A path through a link and a second entry of the same name throw Failure
/// kTemDamaged; errors of the system throw kNoCode.
class TreeWriter {
public:
    /// @param root  must stay open.
    explicit TreeWriter(int root) : m_root(root) {}

    /// A regular file that is being written.
    class File {
    public:
        File(base::Fd fd, std::string path, const struct stat& attributes)
            : m_fd(std::move(fd)), m_path(std::move(path)), m_attributes(attributes) {}

        void write(const char* data, std::size_t size, std::int64_t offset);
        /// Sets the file's size (it may end with a hole) and its attributes.
        void finish(std::int64_t size);

    private:
        base::Fd m_fd;
        std::string m_path;
        struct stat m_attributes;
    };

    File file(const std::string& path, const struct stat& attributes);
    void symbolicLink(const std::string& path, const std::string& target,
                      const struct stat& attributes);
    /// Makes another name of a regular file of the tree. @return the file's mode.
    mode_t hardLink(const std::string& path, const std::string& target);
    /// Makes a directory ("" is the root); it may come after its entries and more than once.
    void directory(const std::string& path, const struct stat& attributes);

    /// Sets the attributes of directories. This comes last, because writing into a directory
    /// changes its times and may need another mode.
    void finish();

private:
    /// The parent directory of `path`, which is made if missing.
    int parentOf(const std::string& path, std::string& name);

    int m_root;
    std::string m_parentPath;  ///< of the directory that is kept open for its next files
    base::Fd m_parent;
    std::map<std::string, struct stat> m_directories;
};

}  // namespace QXA::tem
