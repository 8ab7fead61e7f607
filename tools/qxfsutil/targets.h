// The areas that a command works on: finds them and their containers, and locks them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "layout/lock.h"
#include "src/area/area.h"
#include "tools/qxfsutil/options.h"

namespace qxfsutil {

struct Target {
    std::string path;
    std::optional<int> container;  ///< the container whose private area, or root, it is
    bool isPrivateArea = false;    ///< according to the container's configuration
};

/// The areas that the options name, by path and by container.
/// @return exit codes of areas that could not be found; these were reported.
int collectTargets(const Options& options, std::vector<Target>& targets);

/// The target for a path.
Target targetAt(const std::string& path);

/// An area with its container's lock, which is held until this object is destroyed.
struct HeldArea {
    qxfs::Area area;
    qxnode::FileLock lock;
};

/// Waits for the lock of the target's container, if it has one.
/// @param mode  shared for a command that only reads.
/// @return kExitClean, or an exit code after it reported a failure.
int lockArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             qxnode::FileLock& lock);

/// The same, and opens the area. Prints a remark if the last change of the area was
/// interrupted.
int holdArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             HeldArea& held);

/// Runs `work` on each target, `options.jobs` at once, and prints the outputs in the order of
/// targets. A single target runs in this process.
/// @return the combined exit codes; a process that crashes counts as kExitOperational.
int runOnTargets(const Options& options, const std::vector<Target>& targets,
                 const std::function<int(const Target&)>& work);

}  // namespace qxfsutil
