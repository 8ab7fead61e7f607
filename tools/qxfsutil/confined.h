// Opening what lies below an area, whose owner may have planted links that lead out of it.
#pragma once

#include <string>

#include "src/file_descriptor.h"

namespace qxfsutil {

/// Opens a path below `directory` ("" or "." is the directory itself). Invalid with errno: ELOOP
/// where any component is a link, EXDEV where the path leads out.
qxfs::FileDescriptor openBelow(int directory, const std::string& path, int flags);

/// A name and the directory that holds it, opened.
struct Place {
    qxfs::FileDescriptor directory{-1};
    std::string name;  ///< "." for the area itself
};

/// Finds the place of an absolute path in the area at the absolute path `area`, opened as `root`.
/// The directory is invalid with errno when it cannot be opened; EXDEV for a path that is not below
/// the area or leads out of it.
Place placeBelow(int root, const std::string& area, const std::string& path);

}  // namespace qxfsutil
