// Names of packages on the command line, turned into the records of a request.
#pragma once

#include <string>
#include <vector>

#include "QXL/QXLInstallationPackage.h"
#include "QXL/QXLPackage.h"

namespace qxa {

/// What a bare name means where the request goes.
struct NameContext {
    bool packages = false;  ///< a bare name is a Linux package, else a standard template
    bool deb = false;       ///< packages are Debian ones, else rpm
    std::string osName;     ///< dotted OS template that packages belong to; may be empty
};

/// True for what is a file's path rather than a name: it begins with "/", "./" or "../", or it
/// names an existing file with the ending of an archive.
bool isPath(const std::string& argument);

/// True for a name with the ending of an archive.
bool isArchiveName(const std::string& name);

/// The record that a name stands for: ".os" and ".os/app" are KR templates, "name/version" is a
/// standard template, and a bare name is what the context says.
std::shared_ptr<QXL::QXLPackage> recordOf(const std::string& name, const NameContext& context);

/// Records of names; files are refused by the caller.
QXL::QXLPackageList recordsOf(const std::vector<std::string>& names, const NameContext& context);

/// Elements of names and files, files by their absolute path.
QXL::QXLInstallationPackageList installationsOf(const std::vector<std::string>& arguments,
                                                const NameContext& context);

}  // namespace qxa
