// Resolves paths of an area as its container sees them, with shortcuts, magic links and indexes.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"

namespace qxfs {

/// The file that a path inside a container leads to.
struct Resolved {
    std::string file;     ///< absolute path of the file, in the area or in the template area
    std::string inside;   ///< path inside the container; empty once it is in the template area
    struct stat info {};  ///< of `file`
    bool fromTemplate = false;
    std::string target;  ///< of a symbolic link
};

/// @return false with the reason in `error`.
bool resolve(const Area& area, const std::string& path, Resolved& resolved, std::string& error);

/// Opens a resolved file for reading without following links. Invalid with errno.
base::Fd openResolved(const Area& area, const Resolved& resolved);

/// A name that a container sees in a directory.
struct SeenEntry {
    std::string name;
    Resolved resolved;
    std::string target;  ///< of a symbolic link
};

/// What the container sees at `path`: the entries of a directory, sorted by name, or the one file.
bool listSeen(const Area& area, const std::string& path, std::vector<SeenEntry>& entries,
              std::string& error);

}  // namespace qxfs
