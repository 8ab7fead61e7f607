// The single steps of a change of a container's area, and how to undo them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// The change of one entry. If both sides are set, it is replaced with one rename.
struct AreaStep {
    std::string path;
    std::optional<AreaEntry> before;  ///< of a template that is removed
    std::optional<AreaEntry> after;   ///< of a template that is added
    bool shared = false;              ///< a directory that a remaining template has, too
};

/// The steps of a change in their order; an undo takes them in reverse.
/// @param staying  records whose directories must not be removed.
std::vector<AreaStep> stepsBetween(const std::vector<AreaRecord>& leaving,
                                   const std::vector<AreaRecord>& coming,
                                   const std::vector<AreaRecord>& staying);

/// Does a step unless it is done already. Leaves what the container changed meanwhile.
/// @param root   the container's root.
/// @param saved  directory of the container's saved files.
/// @throws Failure.
void doStep(int root, int saved, const AreaStep& step);

/// Puts a file or link into its place with one rename; replaces an existing one.
/// @throws Failure.
void putEntry(int root, const std::string& path, const AreaEntry& entry);

/// Undoes a step unless it is undone already.
void undoStep(int root, int saved, const AreaStep& step);

}  // namespace QXA::tem
