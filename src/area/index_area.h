// Indexes every directory of an area that can carry an index.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/area/area.h"
#include "src/area/undo_record.h"

namespace qxfs {

enum class IndexResult {
    indexed,       ///< the directory has an index now (or would have, in a dry run)
    completed,     ///< it had one that was brought up to date
    already,       ///< it had one that describes it
    faulty,        ///< it has one with faults, which a check repairs; `reasons` name them
    empty,         ///< it holds nothing that an index could describe
    notIndexable,  ///< it stays as it is; `reasons` say why
    failed,        ///< something went wrong; `reasons` say what
};

const char* indexResultName(IndexResult result);

struct IndexOutcome {
    std::string path;  ///< inside the container
    IndexResult result = IndexResult::already;
    std::vector<std::string> reasons;
};

struct IndexOptions {
    bool convertSymlinks = false;  ///< turn magic symlinks into shortcuts first
    bool dryRun = false;
};

using IndexSink = std::function<void(const IndexOutcome&)>;

/// Indexes an area from its deepest directories up, names in order. A second run goes on where an
/// interrupted one stopped.
void indexArea(const Area& area, const IndexOptions& options, const IndexSink& sink);

}  // namespace qxfs
