// Packs a folder as a standard template package.
#pragma once

#include <string>

namespace QXA::tem {

/// @param folder  has "template.toml" and, if the template has files, "root/".
/// @param file    the package; a new file is written and renamed.
/// @throws Failure kTemNotStandard or kTemDamaged if an installation would refuse it, kNoCode.
void packFolder(const std::string& folder, const std::string& file);

}  // namespace QXA::tem
