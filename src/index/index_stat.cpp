// Counts what stands in a directory index.
#include "src/index/index_stat.h"

#include <algorithm>
#include <set>
#include <vector>

#include "src/index/format.h"

namespace dirindex {

IndexStat statOf(const IndexFile& index) {
    IndexStat stat;
    stat.size = index.size;
    stat.entries = index.entries.size();
    stat.directories = index.directories;
    stat.buckets = index.prime;
    stat.checksum = index.checksum;
    std::vector<std::uint32_t> chains(index.prime, 0);
    std::set<std::string_view> links;
    std::uint64_t used = dirindex::kHeaderSize + dirindex::kHashSlotSize * index.prime;
    for (const auto& entry : index.entries) {
        ++chains[dirindex::name_hash(entry.name.data(), entry.name.size()) % index.prime];
        used += dirindex::kRecordHeadSize + dirindex::padded(entry.name.size());
        if (entry.link.has_value()) {
            ++stat.linked;
            if (links.insert(*entry.link).second) {
                used += dirindex::kTextInLinkRecord + dirindex::padded(entry.link->size());
            }
        }
    }
    stat.links = links.size();
    stat.usedBuckets = static_cast<std::uint32_t>(std::count_if(
        chains.begin(), chains.end(), [](std::uint32_t length) { return length > 0; }));
    stat.longestChain = chains.empty() ? 0 : *std::max_element(chains.begin(), chains.end());
    stat.gapBytes = index.size > used ? index.size - used : 0;
    stat.bytesPerEntry = index.entries.empty() ? 0
                                               : static_cast<double>(index.size) /
                                                     static_cast<double>(index.entries.size());
    return stat;
}

const char* checksumName(ChecksumState state) {
    switch (state) {
        case ChecksumState::good:
            return "good";
        case ChecksumState::absent:
            return "absent";
        case ChecksumState::wrong:
            return "wrong";
    }
    return "";
}

}  // namespace dirindex
