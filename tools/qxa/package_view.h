// PackageView: a package record as qxa shows it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "QXL/QXLPackage.h"

namespace qxa {

/// The fields of a record that qxa shows to people and scripts.
struct PackageView {
    std::string name;  ///< in the form that install, info and remove accept
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

/// The name to request this record with: "name/version" for a standard template, ".os" or ".os/app"
/// for a KR template, the name for a package.
std::string requestName(const QXL::QXLPackage& record);

}  // namespace qxa
