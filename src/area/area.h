// An area: the private area of a container, or any tree that is treated as one.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "base/fd.h"
#include "base/name_table.h"

namespace qxfs {

struct Area {
    std::string name;          ///< as the user named it; the head of its results
    std::string privateDir;    ///< absolute; holds root/ and lost_files/
    std::string root;          ///< absolute; the tree that the container sees
    std::string templateRoot;  ///< absolute, without a slash at its end; empty: not looked at

    /// Absolute path of a path inside the container ("/" is the root itself).
    [[nodiscard]] std::string absolute(const std::string& inside) const;

    /// Path of the template file that a link text ("////...") stands for.
    [[nodiscard]] std::string templateFile(const std::string& link) const;

    /// False for any other tree, which is its own root and has no lost_files.
    [[nodiscard]] bool isPrivate() const { return root != privateDir; }

    [[nodiscard]] bool looksAtTemplates() const { return !templateRoot.empty(); }
};

/// Opens an area by its path: a private area when it holds "root", a VERSION link or lost_files, or
/// when the caller knows that it is one; else the tree itself. A private area opens without its
/// root, too: nothing but its check and what brings things back to it can then be done.
/// @return false with the reason in `error`.
bool openArea(const std::string& path, const std::string& templateRoot, Area& area,
              std::string& error, bool knownPrivate = false);

/// A name in a directory.
struct DirectoryItem {
    std::string name;
    struct stat info {};
    std::string link;  ///< link text of a shortcut or magic symlink; empty for everything else
    std::string text;  ///< of a symlink or sticky file that is no magic link: what it holds
    bool linkUnreadable = false;
    int failure = 0;  ///< errno when the item could not be looked at

    [[nodiscard]] bool isLink() const { return !link.empty(); }
    [[nodiscard]] bool isDirectory() const { return S_ISDIR(info.st_mode); }
    [[nodiscard]] bool isSymlink() const { return S_ISLNK(info.st_mode); }
};

/// A directory and everything in it but "." and "..", by name.
struct DirectoryListing {
    struct stat info {};
    std::vector<DirectoryItem> items;

    /// Takes items that are sorted by name. They may change afterwards, but for their names.
    void assign(std::vector<DirectoryItem> all);

    [[nodiscard]] const DirectoryItem* find(const std::string& name) const;

    /// The set-user-ID bit, by which a directory says that it has an index.
    [[nodiscard]] bool isMarked() const { return (info.st_mode & S_ISUID) != 0; }

private:
    /// Below this a search among the items costs less than a table of their names.
    static constexpr std::size_t kFewItems = 64;

    base::NameTable m_places;
};

/// Reads a directory without following a link, and the links in it. @return 0 or an errno.
int readDirectory(int directory, DirectoryListing& listing);
int readDirectory(const Area& area, const std::string& inside, DirectoryListing& listing);

/// Opens a directory below the area's root; no component may be a link, so that a planted one
/// cannot lead out of the area, nor a mount (EXDEV). Invalid with errno when that fails.
base::Fd openDirectory(const Area& area, const std::string& inside);

/// The path of `name` in the directory `inside`.
std::string joined(const std::string& inside, const std::string& name);

}  // namespace qxfs
