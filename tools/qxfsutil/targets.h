// The areas that a command works on: which they are, whose they are, and that nobody changes them
// meanwhile.
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
    std::optional<int> container;  ///< whose private area, or root, it is
    bool isPrivateArea = false;    ///< by the container's configuration
};

/// The areas that the options name, by path and by container.
/// @return exit codes of those that cannot be told, which have been reported.
int collectTargets(const Options& options, std::vector<Target>& targets);

/// The target that a path is.
Target targetAt(const std::string& path);

/// An area, and its container's lock for as long as this lives.
struct HeldArea {
    qxfs::Area area;
    qxnode::FileLock lock;
};

/// Waits for the lock of the target's container, if it has one.
/// @param mode  shared for a command that only reads.
/// @return kExitClean, or an exit code when it has reported why that failed.
int lockArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             qxnode::FileLock& lock);

/// The same, and opens the area. Says what it means when the node did not finish its last change of
/// the area.
int holdArea(const Options& options, const Target& target, qxnode::FileLock::Mode mode,
             HeldArea& held);

/// Runs `work` on each target, `options.jobs` at once, and prints what each prints in the order of
/// targets. A single one runs in this process.
/// @return all exit codes together; one that dies counts as kExitOperational.
int runOnTargets(const Options& options, const std::vector<Target>& targets,
                 const std::function<int(const Target&)>& work);

}  // namespace qxfsutil
