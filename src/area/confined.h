// Opens absolute paths in an area without following links.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/fd.h"

namespace qxfs {

/// A name and its opened directory.
struct Place {
    base::Fd directory{-1};
    std::string name;  ///< "." for the area itself
};

/// Opens the parent directory of an absolute path in the area `area` (an absolute path, opened as
/// `root`). The directory is invalid with errno if it cannot be opened; EXDEV if the path is not
/// below the area or leads out of it.
Place placeBelow(int root, const std::string& area, const std::string& path);

/// The text for errno after something below an area could not be opened.
std::string reasonBelow();

/// Makes an opened directory the working directory; the destructor restores the old one. For
/// functions that work only in the working directory.
class WorkingDirectory {
public:
    explicit WorkingDirectory(int directory);
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory();

    /// Right after the construction: false with errno if the directory could not be entered.
    [[nodiscard]] bool entered() const { return m_entered; }

private:
    base::Fd m_before;
    bool m_entered;
};

}  // namespace qxfs
