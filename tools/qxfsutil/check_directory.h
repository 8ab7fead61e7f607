// Checks one directory of an area: its index, the links in it, and how they agree.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/qxfsutil/area.h"
#include "tools/qxfsutil/finding.h"
#include "tools/qxfsutil/index_file.h"

namespace qxfsutil {

/// A finding and what its repair needs to know.
struct DirectoryFinding {
    Finding finding;
    std::string name;              ///< of the item or entry concerned; empty: the index as a whole
    std::size_t entry = kNoEntry;  ///< place of the entry in the index
    static constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);
};

/// A directory as a check saw it.
struct DirectoryCheck {
    std::string path;  ///< inside the container
    DirectoryListing listing;
    std::optional<IndexFile> index;  ///< when the directory holds an index file
    std::vector<DirectoryFinding> findings;
    std::vector<std::string> subdirectories;  ///< paths inside the container, by name
};

/// Checks the directory `path`. Never stops at a fault; a directory that cannot be read is one.
DirectoryCheck checkDirectory(const Area& area, const std::string& path);

/// Look-ups of template files, remembered while one directory is checked.
struct TemplateState {
    bool exists = false;
    struct stat info {};
};
TemplateState lookUpTemplate(const Area& area, const std::string& link);

/// Inode tags as an index holds them.
std::uint32_t ownTag(const struct stat& info);
std::uint32_t templateTag(const struct stat& info);

/// True when owner, group and permissions of a link are those of its template file; the permissions
/// of a symbolic link say nothing.
bool attributesAgree(const DirectoryItem& item, const struct stat& templateInfo);

/// True when a link stands in place on purpose although the index describes it: other names lead to
/// it, or it has attributes of its own that the index cannot hold.
bool mustStay(const Area& area, const std::string& directory, const DirectoryItem& item,
              const struct stat& templateInfo);

}  // namespace qxfsutil
