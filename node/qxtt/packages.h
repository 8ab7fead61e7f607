// Answers questions about packages from repositories, caches or containers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "node/kr/package.h"

namespace qxtt {

using qxnode::Package;

/// Packages in a container's own database, sorted by name.
std::vector<Package> packagesOfContainer(int veid);

/// Packages in the local repositories of an OS template, sorted by name; of several versions only
/// the newest.
std::vector<Package> packagesOfTemplate(std::string_view os);

/// Packages named `name`, the newest first. Looks into the repositories of the OS template, then
/// into its cache, then into containers of that OS, until the package is found. Empty: not found.
std::vector<Package> findPackages(std::string_view os, const std::string& name);

}  // namespace qxtt
