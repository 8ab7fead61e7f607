// Packages as an engine reports them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qxpkg {

struct Package {
    std::string name;
    std::string architecture;
    std::string version;
    bool complete = true;   ///< false: unpacked or configured only in part
    bool removing = false;  ///< marked for removal; if complete, the removal has not begun
    bool broken = false;    ///< some of its files are missing; it must be installed again

    bool operator==(const Package&) const = default;
};

/// Orders by name, architecture and version.
using PackageList = std::vector<Package>;

bool packageBefore(const Package& a, const Package& b);
void sortPackages(PackageList& packages);

/// Elements of `packages` with the name `name`; `name` may be "name:architecture".
PackageList packagesNamed(const PackageList& packages, std::string_view name);

/// The same of several names, in their order.
PackageList packagesNamed(const PackageList& packages, const std::vector<std::string>& names);

/// Elements of `a` that are not in `b`; it does not matter whether they are complete.
PackageList difference(const PackageList& a, const PackageList& b);

/// "a, b and c".
std::string enumeration(const std::vector<std::string>& names);
std::string enumeration(const PackageList& packages);

}  // namespace qxpkg
