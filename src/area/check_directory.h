// Checks one directory of an area: its index, the links in it, and how they agree.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/area/area.h"
#include "src/area/finding.h"
#include "src/area/template_lookup.h"
#include "src/index/index_file.h"

namespace qxfs {

/// A finding, with the data for its repair.
struct DirectoryFinding {
    Finding finding;
    std::string name;              ///< of the item or entry concerned; empty: the whole index
    std::size_t entry = kNoEntry;  ///< number of the entry in the index
    std::string link;              ///< the correct text for a damaged link
    static constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);
};

/// The result of the check of one directory.
struct DirectoryCheck {
    std::string path;  ///< inside the container
    DirectoryListing listing;
    std::optional<dirindex::IndexFile> index;  ///< if the directory has an index file
    std::vector<DirectoryFinding> findings;
    std::vector<std::string> subdirectories;  ///< paths inside the container, by name
};

/// Checks the directory `path`. It goes on after errors; a directory that cannot be read is a
/// finding.
/// @param templates  shared by all directories of an area.
DirectoryCheck checkDirectory(const Area& area, const std::string& path, TemplateLookup& templates);
DirectoryCheck checkDirectory(const Area& area, const std::string& path);

/// True when a link stands in place on purpose although the index describes it: other names lead to
/// it, or it has attributes of its own that the index cannot hold.
/// @param directory  opened; it holds the item.
bool mustStay(int directory, const DirectoryItem& item, const struct stat& templateInfo);

/// Inode tags for an index.
std::uint32_t ownTag(const struct stat& info);
std::uint32_t templateTag(const struct stat& info);

}  // namespace qxfs
