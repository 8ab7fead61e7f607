// A directory index as a value: decode, encode, read and replace it. There is no state, so threads
// can work on different indexes at the same time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/index/area_format.h"
#include "src/index/index_text.h"

namespace dirindex {

using qxfs::kIndexName;
using qxfs::kPackageRefName;

/// Temporary name of a new index.
inline constexpr const char* kNewIndexName = "._qxlnk_.~new";

enum class ChecksumState {
    good,
    absent,  ///< the index was written without one
    wrong,
};

/// The content of an index file.
struct IndexFile {
    bool readable = false;  ///< the file could be opened and read
    bool sound = false;     ///< its structure has no errors; `entries` are complete
    ChecksumState checksum = ChecksumState::wrong;
    std::string reason;               ///< why it is not readable or not sound
    std::vector<IndexEntry> entries;  ///< in the order of the file's records
    std::uint32_t prime = 0;
    std::uint32_t directories = 0;
    std::uint64_t size = 0;
    /// An error for containers although the structure is sound: a wrong number of directories in
    /// the header, or entries that a look-up by name or a listing does not find. Usually empty.
    std::string unkeptPromise;
};

/// Longest index that is read: a million names of two hundred characters.
inline constexpr std::uint64_t kMaxIndexSize = 256ULL << 20;

/// Reads and checks an index file. It does not follow a link in the last component and does not
/// wait. It reads a regular file once, as a whole, so later changes of the file do not matter.
/// @param directory  opened, or AT_FDCWD.
/// @param path       relative to it; must be a plain name if the directory's owner is not trusted.
IndexFile readIndexFile(int directory, const std::string& path);

/// Checks the bytes of an index.
IndexFile decodeIndex(std::string bytes);

/// The bytes of an index with these entries, ordered by bucket; entries of one bucket keep their
/// order.
/// @return false with the reason in `error`.
bool buildIndex(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error);

/// Writes the index of an opened directory: a new file, which is checked, flushed and renamed.
/// @param staging  an opened directory of the same file system for the new file, so that its name
///                 cannot collide with others; -1: `directory`.
/// @return false with the reason in `error`; the old index is then unchanged.
bool replaceIndex(int directory, const std::vector<IndexEntry>& entries, std::string& error,
                  int staging = -1);

}  // namespace dirindex
