// The operations of qxpkg on one container and on packages of the node's templates.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// The kind of names in a command.
enum class Names { templates, packages };

/// All throw Failure. Result lines are printed with `output` in the order of the engine.
void installInContainer(int veid, Names kind, const std::vector<std::string>& names,
                        const Options& options, const Output& output);

/// No package names: everything that the container has.
void updateContainer(int veid, Names kind, const std::vector<std::string>& names,
                     const Options& options, const Output& output);

/// No names: nothing.
void removeFromContainer(int veid, Names kind, const std::vector<std::string>& names,
                         const Options& options, const Output& output);

/// Downloads the packages of templates, or named packages of every OS template that offers them,
/// into the node's package cache; no names: the packages of every template.
void fetchPackages(Names kind, const std::vector<std::string>& names, const Options& options,
                   const Output& output);

/// Removes what fetchPackages downloaded; no names: everything.
void cleanPackages(Names kind, const std::vector<std::string>& names, const Options& options,
                   const Output& output);

}  // namespace qxpkg
