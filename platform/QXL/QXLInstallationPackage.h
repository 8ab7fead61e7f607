// QXLInstallationPackage: what an installation or update request names, a record or a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QXL/QXLPackage.h"

namespace QXL {

/// One element of an installation request: a package record, or the path of a package file on the
/// node. Some callers fill in neither; such an element names nothing.
struct QXLInstallationPackage {
    std::shared_ptr<QXLPackage> package;  ///< may be empty
    std::string path;                     ///< may be empty
};

using QXLInstallationPackageSP = std::shared_ptr<QXLInstallationPackage>;
using QXLInstallationPackageList = std::vector<QXLInstallationPackageSP>;

}  // namespace QXL
