// Indexes every directory of an area that can have an index.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/area/area.h"
#include "src/area/undo_record.h"

namespace qxfs {

enum class IndexResult {
    indexed,       ///< the directory has an index now (or would have, in a dry run)
    completed,     ///< it had one, which was completed
    already,       ///< it had one that is complete
    faulty,        ///< it has one with errors, see `reasons`; a check repairs it
    empty,         ///< it has nothing that an index could describe
    notIndexable,  ///< it is not changed; see `reasons`
    failed,        ///< a failure; see `reasons`
};

const char* indexResultName(IndexResult result);

struct IndexOutcome {
    std::string path;  ///< inside the container
    IndexResult result = IndexResult::already;
    std::vector<std::string> reasons;
};

struct IndexOptions {
    bool convertSymlinks = false;  ///< replace magic symlinks by shortcuts first
    bool dryRun = false;
};

using IndexSink = std::function<void(const IndexOutcome&)>;

/// Indexes an area, the deepest directories first, sorted by name. A second run continues where an
/// interrupted one stopped.
void indexArea(const Area& area, const IndexOptions& options, const IndexSink& sink);

}  // namespace qxfs
