// What an index of a directory is to say, read from the directory itself.
//
// An entry ends as one of three: a plain one (an inode of the directory itself), one that stands
// for a template file (and whose own file the index then makes redundant), or one that no index can
// describe, which keeps the directory from being indexed as it is.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "src/index/index_text.h"

namespace dirindex {

/// What a scan meets. From cannotLookAt on each is a reason why no index can describe the entry.
enum class ScanRemark {
    hardLinked,
    plainDirectory,
    indexedDirectory,
    plainSymlink,
    plainFile,
    ownFlags,
    otherName,
    otherAttributes,
    cannotLookAt,
    nameTooLong,
    specialFile,
    cannotReadMark,
    cannotReadSymlink,
    cannotOpen,
    cannotRead,
    noMagicLink,
    noTemplateFile,
    wrongTemplateFile,
    otherFile,
};

/// Hears of everything in the order in which it is met.
class ScanListener {
public:
    ScanListener() = default;
    ScanListener(const ScanListener&) = delete;
    ScanListener& operator=(const ScanListener&) = delete;
    virtual ~ScanListener() = default;

    /// @param text    the link text or path concerned; empty where there is none.
    /// @param reason  errno of a call that failed, else 0.
    virtual void remark(ScanRemark remark, const char* name, const char* text, int reason) = 0;
    virtual void directory() {}
    /// Before a magic symlink is taken for a link to a template file. False ends the scan.
    virtual bool magicSymlink(const char* /*name*/, const char* /*text*/,
                              const struct stat& /*info*/) {
        return true;
    }
    /// The index makes this link superfluous.
    virtual void superfluous(const char* name, const struct stat& info) = 0;
    /// @param link  null for a plain entry.
    virtual void entry(std::uint8_t type, const char* name, std::uint32_t tag,
                       const char* link) = 0;
};

enum class ScanAnswer { indexable, ended, notIndexable };

/// Scans one name of a directory.
/// @param directory  opened, or AT_FDCWD.
ScanAnswer scanName(int directory, const char* name, const char* templateRoot,
                    ScanListener& listener);

/// A link that an index makes superfluous, as it was when it was scanned.
struct SuperfluousLink {
    std::string name;
    struct stat info {};
};

/// A scanned directory.
struct Scan {
    std::vector<IndexEntry> entries;           ///< ".", "..", then names in order
    std::vector<SuperfluousLink> superfluous;  ///< what the entries stand for
    std::vector<std::string> reasons;          ///< why no index can describe it; empty: one can
    std::vector<std::string> names;            ///< that no index can describe

    /// True when there is something beside "." and "..".
    [[nodiscard]] bool hasContent() const { return entries.size() > 2 || !names.empty(); }
};

/// Scans an opened directory; names of the checker's own files are left out. Equal directories
/// give equal scans. @return nullopt with errno when it cannot be read.
std::optional<Scan> scanDirectory(int directory, const std::string& templateRoot);

/// Removes a link that an index made superfluous, unless it was changed since the scan or is gone.
/// False with errno.
bool removeSuperfluous(int directory, const SuperfluousLink& link);

/// Sets or clears the mark of an indexed directory. False with errno; EOPNOTSUPP: its file system
/// does not keep the mark.
bool setIndexMark(int directory, bool marked);

/// True when owner, group and permissions agree; the mark of a shortcut says nothing.
bool sameAttributes(const struct stat& a, const struct stat& b);

/// The inode flags among `flags` that a user can set. A file system marks every file with others,
/// of its own layout, which say nothing about the file.
unsigned userFlags(unsigned flags);

/// Whether the open file has such a flag. Flags that cannot be read count as none.
bool hasUserFlags(int file);

}  // namespace dirindex
