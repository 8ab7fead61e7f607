// The configuration of apt and dpkg for a place.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// Path of dpkg's database in the root, if no link there leads elsewhere.
inline constexpr const char* kDpkgDatabase = "/var/lib/dpkg";

/// The text of apt.conf, which replaces all configuration that apt would read from the host.
/// @param adminDir  path of the database folder in the root.
std::string aptConfiguration(const Place& place, const std::string& adminDir);

/// Lines of sources.list for the repositories that are named by URL.
std::string aptSources(const Place& place);

/// All files of the place's configuration folder; files of the host that repositories name are
/// copied. @throws Failure if one cannot be read.
std::vector<ConfigurationFile> debConfiguration(const Place& place, const std::string& adminDir);

/// dpkg's options for the place's root.
std::vector<std::string> dpkgRootOptions(const std::string& adminDir);

}  // namespace qxpkg
