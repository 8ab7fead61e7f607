// Package records as XML elements of a message.
#pragma once

#include <pugixml.hpp>

#include "QXL/QXLPackage.h"

namespace QXL {

/// Name of a record's element; its attribute "type" is the type identifier.
inline constexpr const char* kPackageElement = "package";

/// Appends a record to `parent` with the factory of its class, or else the default factory.
/// @return 0, or -1: nothing is then appended.
int appendPackage(pugi::xml_node parent, const QXLPackage& record);

/// Reads all records of `parent`, each with the factory that its type identifier names; other
/// elements are ignored. @return 0, or -1 if one cannot be read.
int readPackages(pugi::xml_node parent, QXLPackageList& out);

}  // namespace QXL
