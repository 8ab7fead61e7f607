// Statistics of a directory index.
#pragma once

#include <cstdint>
#include <string>

#include "src/index/index_file.h"

namespace dirindex {

struct IndexStat {
    std::uint64_t size = 0;
    std::uint64_t entries = 0;
    std::uint64_t directories = 0;
    std::uint64_t linked = 0;  ///< template-backed entries
    std::uint64_t links = 0;   ///< distinct link strings
    std::uint32_t buckets = 0;
    std::uint32_t usedBuckets = 0;
    std::uint32_t longestChain = 0;
    std::uint64_t gapBytes = 0;  ///< unused, so that no record crosses a block
    double bytesPerEntry = 0;
    ChecksumState checksum = ChecksumState::wrong;
};

/// The statistics of an index that readIndexFile() found sound.
IndexStat statOf(const IndexFile& index);

const char* checksumName(ChecksumState state);

}  // namespace dirindex
