// What dnf and rpm are told about a place.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Everything of the place's configuration folder.
/// @param databaseDir  the root's rpm database, from the root's own "/".
std::vector<ConfigurationFile> rpmConfiguration(const Place& place, const std::string& databaseDir);

/// The .repo file's text for the place's repositories.
std::string dnfRepositories(const Place& place);

/// dnf's words up to the action.
std::vector<std::string> dnfCommand(const Place& place);

}  // namespace qxpkg
