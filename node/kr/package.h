// Package: a package as repositories and databases describe it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qxnode {

struct Package {
    std::string name;
    std::string version;  ///< as the engine writes it: epoch and release included
    std::string architecture;
    std::string summary;
    std::vector<std::string> description;  ///< lines
    std::string state;                     ///< of one in a database, in its engine's letters
    std::string origin;                    ///< repository, cache or container it was found in
};

using OnPackage = std::function<void(Package&&)>;

}  // namespace qxnode
