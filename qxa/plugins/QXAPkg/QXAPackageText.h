// Names of packages for messages.
#pragma once

#include <string>

#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"

namespace QXA {

/// The record's name, followed by " (OS name)" if it has an OS name; "" for a null record. For an
/// installation element without a record, its file path.
std::string getStringFromPackage(const QXL::QXLPackageSP& package);
std::string getStringFromPackage(const QXL::QXLInstallationPackageSP& package);

/// The texts of all elements, joined by ", ".
std::string getStringFromPackageList(const QXL::QXLPackageList& packages);
std::string getStringFromPackageList(const QXL::QXLInstallationPackageList& packages);

}  // namespace QXA
