// Places in an area by their absolute paths, reached without following a link.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/fd.h"

namespace qxfs {

/// A name and the directory that holds it, opened.
struct Place {
    base::Fd directory{-1};
    std::string name;  ///< "." for the area itself
};

/// Finds the place of an absolute path in the area at the absolute path `area`, opened as `root`.
/// The directory is invalid with errno when it cannot be opened; EXDEV for a path that is not below
/// the area or leads out of it.
Place placeBelow(int root, const std::string& area, const std::string& path);

/// The reason that errno gives when something below an area could not be opened.
std::string reasonBelow();

/// Works in an opened directory for as long as it lives, and goes back to where it was. For what
/// the library does only in the working directory.
class WorkingDirectory {
public:
    explicit WorkingDirectory(int directory);
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory();

    /// False with errno, right after the construction, when the directory could not be entered.
    [[nodiscard]] bool entered() const { return m_entered; }

private:
    base::Fd m_before;
    bool m_entered;
};

}  // namespace qxfs
