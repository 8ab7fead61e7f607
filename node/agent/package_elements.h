// Package records as elements of a message.
#pragma once

#include <pugixml.hpp>

#include "QXL/QXLPackage.h"

namespace QXL {

/// Name of a record's element; its attribute "type" is the type identifier.
inline constexpr const char* kPackageElement = "package";

/// Appends a record to `parent` through the factory registered for its class, or the family's
/// default. @return 0, or -1 with nothing appended.
int appendPackage(pugi::xml_node parent, const QXLPackage& record);

/// Reads every record of `parent`, each through the factory of the class that its type identifier
/// names; elements of other names are passed over. @return 0, or -1 when one could not be read.
int readPackages(pugi::xml_node parent, QXLPackageList& out);

}  // namespace QXL
