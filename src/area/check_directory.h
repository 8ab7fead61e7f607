// Checks one directory of an area: its index, the links in it, and how they agree.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/fd.h"
#include "src/area/area.h"
#include "src/area/finding.h"
#include "src/index/index_file.h"

namespace qxfs {

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
    std::optional<dirindex::IndexFile> index;  ///< when the directory holds an index file
    std::vector<DirectoryFinding> findings;
    std::vector<std::string> subdirectories;  ///< paths inside the container, by name
};

/// Checks the directory `path`. Never stops at a fault; a directory that cannot be read is one.
DirectoryCheck checkDirectory(const Area& area, const std::string& path);

/// A template file, as far as it is there.
struct TemplateState {
    bool exists = false;
    struct stat info {};
};

/// The template file that a link text stands for.
TemplateState lookUpTemplate(const Area& area, const std::string& link);

/// Looks template files up by link string and name. Keeps the last link string's directory open:
/// entries of one directory mostly share it, and a path of one name is the cheapest to look up.
class TemplateLookup {
public:
    explicit TemplateLookup(const Area& area) : m_area(area) {}

    TemplateState find(const std::string& link, const std::string& name);

private:
    const Area& m_area;
    std::string m_link;
    std::optional<base::Fd> m_directory;
};

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

}  // namespace qxfs
