// Requests as tests of both technologies make them.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"
#include "QXL/QXLPackageManagerOptions.h"

namespace QXA {

inline QXL::QXLPackageSP standard(const std::string& name, const std::string& version = "") {
    auto record = std::make_shared<QXAPackageQXTemplateStd>();
    record->name = name;
    record->version = version;
    return record;
}

inline QXL::QXLInstallationPackageSP installation(const QXL::QXLPackageSP& record,
                                                  const std::string& path = "") {
    auto element = std::make_shared<QXL::QXLInstallationPackage>();
    element->package = std::const_pointer_cast<QXL::QXLPackage>(record);
    element->path = path;
    return element;
}

inline QXL::QXLPackageManagerOptions options(unsigned flags = 0) {
    QXL::QXLPackageManagerOptions made;
    made.flags = flags;
    return made;
}

inline QXL::QXLPackageManagerListOptions listOptions(std::vector<std::string> types = {},
                                                     unsigned flags = 0) {
    QXL::QXLPackageManagerListOptions made(flags);
    made.types = std::move(types);
    return made;
}

}  // namespace QXA
