// PackageView: a package record as qxa shows it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QXL/QXLPackage.h"

namespace qxa {

/// Everything that a person or a script is shown of a record, without the record's class.
struct PackageView {
    std::string name;  ///< as it can be given to install, info and remove
    std::string version;
    std::string kind;        ///< "os", "app" or "package"
    std::string technology;  ///< "standard" or "kr"; empty for packages
    std::string architecture;
    std::string summary;
    std::string description;
    std::optional<std::string> platform;
    std::optional<std::string> osName;
    std::optional<std::string> osVersion;
    std::vector<std::string> technologies;  ///< what a template requires of a node
};

PackageView viewOf(const QXL::QXLPackage& record);
std::vector<PackageView> viewsOf(const QXL::QXLPackageList& records);

/// The name by which a record can be requested again: "name/version" of a standard template, ".os"
/// or ".os/app" of a KR template, the name of a package.
std::string requestName(const QXL::QXLPackage& record);

}  // namespace qxa
