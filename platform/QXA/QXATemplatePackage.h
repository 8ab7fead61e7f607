// Packing of standard template packages.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXA {

/// Makes a standard template package from a folder with "template.toml" and, if the template has
/// files, "root/". The manifest is checked as in QXATEMLocal::set(). The same folder always gives
/// the same archive (sorted names, no build time). It is written beside `file` and renamed to it.
/// @param folder  the folder to pack.
/// @param file    the package to write; its ending selects the compression (".tar", ".tar.gz",
///                ".tar.xz", ".tar.zst").
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int packTemplate(const std::string& folder, const std::string& file);

}  // namespace QXA
