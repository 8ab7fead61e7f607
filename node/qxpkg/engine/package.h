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
    bool removing = false;  ///< its removal was asked for; when complete, it has not begun
    bool broken = false;    ///< its files are there only in part; nothing but a new copy helps

    bool operator==(const Package&) const = default;
};

/// In order of name, architecture and version.
using PackageList = std::vector<Package>;

bool packageBefore(const Package& a, const Package& b);
void sortPackages(PackageList& packages);

/// Elements of `packages` that are called `name`, or "name:architecture".
PackageList packagesNamed(const PackageList& packages, std::string_view name);

/// The same of several names, in their order.
PackageList packagesNamed(const PackageList& packages, const std::vector<std::string>& names);

/// Elements of `a` that `b` lacks. Whether they are complete does not count.
PackageList difference(const PackageList& a, const PackageList& b);

/// "a, b and c".
std::string enumeration(const std::vector<std::string>& names);
std::string enumeration(const PackageList& packages);

}  // namespace qxpkg
