// Packs a folder as a standard template package.
#pragma once

#include <string>

namespace QXA::tem {

/// @param folder  holds "template.toml" and, unless the template has no files, "root/".
/// @param file    the package; written beside and renamed.
/// @throws Failure kTemNotStandard, kTemDamaged for what an installation would refuse, kNoCode.
void packFolder(const std::string& folder, const std::string& file);

}  // namespace QXA::tem
