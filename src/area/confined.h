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

}  // namespace qxfs
