// One directory index as a value: decoded, encoded, read and replaced. Nothing here keeps state, so
// threads may work on indexes of their own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/index/area_format.h"
#include "src/index/index_text.h"

namespace dirindex {

using qxfs::kIndexName;
using qxfs::kPackageRefName;

/// A new index on its way to its place.
inline constexpr const char* kNewIndexName = "._qxlnk_.~new";

enum class ChecksumState {
    good,
    absent,  ///< the file says that it was written without one
    wrong,
};

/// What an index file holds.
struct IndexFile {
    bool readable = false;  ///< the file could be opened and read, whatever it holds
    bool sound = false;     ///< its structure holds; `entries` are all of it
    ChecksumState checksum = ChecksumState::wrong;
    std::string reason;               ///< why it is not readable or not sound
    std::vector<IndexEntry> entries;  ///< in the order of the file's records
    std::uint32_t prime = 0;
    std::uint32_t directories = 0;
    std::uint64_t size = 0;
    /// What a container would miss or count wrong, although the structure holds: the header's count
    /// of directories, or entries that a look-up by name or a listing does not reach. Empty when
    /// there is nothing of it.
    std::string unkeptPromise;
};

/// Longest index that is read: a million names of two hundred characters.
inline constexpr std::uint64_t kMaxIndexSize = 256ULL << 20;

/// Reads and checks an index file. No link in the last component is followed, nothing blocks, and
/// only a regular file is read, once and whole: what others change meanwhile does not matter.
/// @param directory  opened, or AT_FDCWD.
/// @param path       relative to it; a plain name where the directory's owner is not trusted.
IndexFile readIndexFile(int directory, const std::string& path);

/// Checks the bytes of an index.
IndexFile decodeIndex(std::string bytes);

/// The bytes of an index with these entries. They are in bucket order; entries of one bucket keep
/// theirs.
/// @return false with the reason in `error`.
bool buildIndex(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error);

/// Writes an index for an opened directory: checked, beside its place, flushed, renamed.
/// @param staging  an opened directory of the same file system in which the file is made, so that
///                 its temporary name meets no other; -1: it is made in `directory`.
/// @return false with the reason in `error`; the old index is then untouched.
bool replaceIndex(int directory, const std::vector<IndexEntry>& entries, std::string& error,
                  int staging = -1);

}  // namespace dirindex
