// Turns package names from the command line into the records of a request.
#pragma once

#include <string>
#include <vector>

#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"

namespace qxa {

/// What a name without dot or slash means for the request's target.
struct NameContext {
    bool packages = false;  ///< it is a Linux package, else a standard template
    bool deb = false;       ///< it is a deb package, else rpm
    std::string osName;     ///< OS template of the packages, with its dot; may be empty
};

/// True if the text is a path: it begins with "/", "./" or "../", or it is an existing file whose
/// name ends like an archive's.
bool isPath(const std::string& argument);

/// True if the name ends like an archive's (".tar.gz", ".deb", ...).
bool isArchiveName(const std::string& name);

/// The record that a name stands for: ".os" and ".os/app" are KR templates, "name/version" is a
/// standard template, and a bare name is what the context says.
std::shared_ptr<QXL::QXLPackage> recordOf(const std::string& name, const NameContext& context);

/// The records of several names. The caller must refuse paths first.
QXL::QXLPackageList recordsOf(const std::vector<std::string>& names, const NameContext& context);

/// The elements of names and paths; paths become absolute.
QXL::QXLInstallationPackageList installationsOf(const std::vector<std::string>& arguments,
                                                const NameContext& context);

}  // namespace qxa
