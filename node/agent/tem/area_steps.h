// The single steps by which a change of a container's area is done and undone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// One entry's change. Both sides set: replaced in one rename.
struct AreaStep {
    std::string path;
    std::optional<AreaEntry> before;  ///< of a template that leaves
    std::optional<AreaEntry> after;   ///< of a template that comes
    bool shared = false;              ///< a directory that a template which stays has too
};

/// The steps of a change in the order in which they are done; undone in reverse.
/// @param staying  records whose directories must not go.
std::vector<AreaStep> stepsBetween(const std::vector<AreaRecord>& leaving,
                                   const std::vector<AreaRecord>& coming,
                                   const std::vector<AreaRecord>& staying);

/// Does a step, or finds it done. What the container has changed meanwhile is left as it is.
/// @param root   the container's root.
/// @param saved  directory of the container's saved files.
/// @throws Failure.
void doStep(int root, int saved, const AreaStep& step);

/// Puts a file or link into its place in one step, over what may stand there.
/// @throws Failure.
void putEntry(int root, const std::string& path, const AreaEntry& entry);

/// Undoes a step, or finds it undone.
void undoStep(int root, int saved, const AreaStep& step);

}  // namespace QXA::tem
