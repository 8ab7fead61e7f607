// Lists of packages are small and sorted; see package.h.
#include "node/qxpkg/engine/package.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace qxpkg {

bool packageBefore(const Package& a, const Package& b) {
    return std::tie(a.name, a.architecture, a.version) <
           std::tie(b.name, b.architecture, b.version);
}

void sortPackages(PackageList& packages) {
    std::sort(packages.begin(), packages.end(), packageBefore);
}

PackageList packagesNamed(const PackageList& packages, std::string_view name) {
    PackageList found;
    std::copy_if(
        packages.begin(), packages.end(), std::back_inserter(found), [&](const Package& package) {
            return package.name == name || package.name + ":" + package.architecture == name;
        });
    return found;
}

PackageList packagesNamed(const PackageList& packages, const std::vector<std::string>& names) {
    PackageList found;
    for (const std::string& name : names) {
        const PackageList more = packagesNamed(packages, std::string_view(name));
        found.insert(found.end(), more.begin(), more.end());
    }
    return found;
}

PackageList difference(const PackageList& a, const PackageList& b) {
    PackageList rest;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(rest),
                        packageBefore);
    return rest;
}

std::string enumeration(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += i == 0 ? "" : i + 1 == names.size() ? " and " : ", ";
        text += "'" + names[i] + "'";
    }
    return text;
}

std::string enumeration(const PackageList& packages) {
    std::vector<std::string> names;
    for (const Package& package : packages) {
        names.push_back(package.name);
    }
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return enumeration(names);
}

}  // namespace qxpkg
