// Which source answers a question about packages: repositories, caches, containers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "node/kr/package.h"

namespace qxtt {

using qxnode::Package;

/// Packages in a container's own database, sorted by name.
std::vector<Package> packagesOfContainer(int veid);

/// Packages that the local repositories of an OS template offer, sorted by name; of several
/// versions the newest.
std::vector<Package> packagesOfTemplate(std::string_view os);

/// Packages called `name`, the newest first: from the repositories of the OS template, failing
/// these its cache, failing that the first container of that OS that has it. Empty: nobody knows
/// it.
std::vector<Package> findPackages(std::string_view os, const std::string& name);

}  // namespace qxtt
