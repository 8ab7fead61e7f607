// One directory index, read and written through the library.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/area_format.h"
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
    bool readable = false;  ///< the file could be opened and mapped
    bool sound = false;     ///< its structure holds; `entries` are all of it
    ChecksumState checksum = ChecksumState::wrong;
    std::string reason;               ///< why it is not readable
    std::vector<IndexEntry> entries;  ///< in the order of the file's records
    std::uint32_t prime = 0;
    std::uint32_t directories = 0;
    std::uint64_t size = 0;
};

/// Reads and checks an index file.
IndexFile readIndexFile(const std::string& path);

/// The entries that the library's last successful check left in its list.
std::vector<IndexEntry> takeEntries();

/// The bytes that the library writes for the entries.
/// @return false with the reason in `error`.
bool buildIndex(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error);

/// Writes an index for the directory `directory`: beside its place, checked, flushed, renamed.
/// @return false with the reason in `error`; the old index is then untouched.
bool replaceIndex(const std::string& directory, const std::vector<IndexEntry>& entries,
                  std::string& error);

/// Template-backed entries that can still be made out in a damaged index file: every aligned place
/// that looks like a record whose name and link string are whole. The caller tells which of them
/// are true by looking at the template files.
std::vector<IndexEntry> salvageEntries(const std::string& bytes);

/// Reads a whole regular file of at most `limit` bytes without following a link in its last
/// component. @return false with errno set.
bool readFile(const std::string& path, std::uint64_t limit, std::string& bytes);

}  // namespace dirindex
