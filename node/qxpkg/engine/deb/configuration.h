// What apt and dpkg are told about a place.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/engine/place.h"

namespace qxpkg {

/// dpkg's database, from the root's own "/", unless a link there leads elsewhere.
inline constexpr const char* kDpkgDatabase = "/var/lib/dpkg";

/// apt.conf, which stands in for everything that apt would read from the host.
/// @param adminDir  the root's database folder, from the root's own "/".
std::string aptConfiguration(const Place& place, const std::string& adminDir);

/// Lines of sources.list for the repositories that are named by URL.
std::string aptSources(const Place& place);

/// Everything of the place's configuration folder. Files of the host that repositories name are
/// copied. @throws Failure when one cannot be read.
std::vector<ConfigurationFile> debConfiguration(const Place& place, const std::string& adminDir);

/// dpkg's options for the place's root.
std::vector<std::string> dpkgRootOptions(const std::string& adminDir);

}  // namespace qxpkg
