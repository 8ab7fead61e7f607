// The configuration of dnf and rpm for a place.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// All files of the place's configuration folder.
/// @param databaseDir  path of the rpm database in the root.
std::vector<ConfigurationFile> rpmConfiguration(const Place& place, const std::string& databaseDir);

/// The .repo file's text for the place's repositories.
std::string dnfRepositories(const Place& place);

/// The words of a dnf command before the action.
std::vector<std::string> dnfCommand(const Place& place);

}  // namespace qxpkg
