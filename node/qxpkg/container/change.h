// One change of the packages of a place: examines it, runs the engine, reports the result.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/engine.h"

namespace qxpkg {

/// Runs the action with an engine of the place's packaging and prints a line for each package that
/// was installed, updated or removed; for an installation also for packages that were there
/// already. With options.dryRun it prints what would be done. It first finishes what an interrupted
/// run left, and removes packages that a failed installation leaves incomplete.
/// @param names  packages; empty with Action::update: everything that is installed.
/// @throws Failure: kRefused if a removal would also remove packages that were not named, and
///         neither options.withDependents nor options.force is given.
void changePackages(const Place& place, Action action, const std::vector<std::string>& names,
                    const Options& options, const Output& output);

}  // namespace qxpkg
