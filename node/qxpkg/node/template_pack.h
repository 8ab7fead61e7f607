// Making template packages.
#pragma once

#include <string>

namespace qxpkg {

/// Writes a package of a folder that holds "template.toml", optionally "keys" and, for an OS
/// template, "app". The same folder gives the same bytes. What installing would refuse is refused
/// here. @throws Failure.
void packTemplate(const std::string& folder, const std::string& file);

}  // namespace qxpkg
