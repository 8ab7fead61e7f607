// An area: the private area of a container, or any directory tree.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "base/fd.h"
#include "base/name_table.h"

namespace qxfs {

struct Area {
    std::string name;          ///< as the user wrote it; results begin with it
    std::string privateDir;    ///< absolute; holds root/ and lost_files/
    std::string root;          ///< absolute; the tree that the container sees
    std::string templateRoot;  ///< absolute, without a final slash; empty: do not check links

    /// Absolute path of a path inside the container ("/" is the root itself).
    [[nodiscard]] std::string absolute(const std::string& inside) const;

    /// Path of the template file that a link string ("////...") names.
    [[nodiscard]] std::string templateFile(const std::string& link) const;

    /// False for any other tree, which is the root itself and has no lost_files.
    [[nodiscard]] bool isPrivate() const { return root != privateDir; }

    [[nodiscard]] bool looksAtTemplates() const { return !templateRoot.empty(); }
};

/// Opens an area by its path: a private area if it has "root", a VERSION link or lost_files, or if
/// the caller knows that it is one; else a plain tree. A private area without its root can be
/// opened, too, but only for a check, an undo or a restore.
/// @return false with the reason in `error`.
bool openArea(const std::string& path, const std::string& templateRoot, Area& area,
              std::string& error, bool knownPrivate = false);

/// A name in a directory.
struct DirectoryItem {
    std::string name;
    struct stat info {};
    std::string link;  ///< link string of a shortcut or magic symlink; otherwise empty
    std::string text;  ///< content of a symlink or sticky file that is not a magic link
    bool linkUnreadable = false;
    int failure = 0;  ///< errno if the item cannot be examined

    [[nodiscard]] bool isLink() const { return !link.empty(); }
    [[nodiscard]] bool isDirectory() const { return S_ISDIR(info.st_mode); }
    [[nodiscard]] bool isSymlink() const { return S_ISLNK(info.st_mode); }
};

/// A directory and everything in it but "." and "..", sorted by name.
struct DirectoryListing {
    struct stat info {};
    std::vector<DirectoryItem> items;

    /// @param items  sorted by name; later only their names must not change.
    void assign(std::vector<DirectoryItem> all);

    [[nodiscard]] const DirectoryItem* find(const std::string& name) const;

    /// The set-user-ID bit, the mark of a directory with an index.
    [[nodiscard]] bool isMarked() const { return (info.st_mode & S_ISUID) != 0; }

private:
    /// With fewer items a search is faster than a table of their names.
    static constexpr std::size_t kFewItems = 64;

    base::NameTable m_places;
};

/// Reads a directory without following a link, and the links in it. @return 0 or an errno.
int readDirectory(int directory, DirectoryListing& listing);
int readDirectory(const Area& area, const std::string& inside, DirectoryListing& listing);

/// Opens a directory below the area's root. No component may be a link, which could lead out of the
/// area, or a mount point (EXDEV). Invalid with errno on failure.
base::Fd openDirectory(const Area& area, const std::string& inside);

/// The path of `name` in the directory `inside`.
std::string joined(const std::string& inside, const std::string& name);

}  // namespace qxfs
