// Packing of standard template packages.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXA {

/// Makes a standard template package of a folder that holds "template.toml" and, unless the
/// template has no files, "root/". The manifest is checked as QXATEMLocal::set() would; the archive
/// is reproducible (names in order, no build time) and written beside `file`, then renamed over it.
/// @param folder  what to pack.
/// @param file    the package to write; its ending chooses the compression (".tar", ".tar.gz",
///                ".tar.xz", ".tar.zst").
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int packTemplate(const std::string& folder, const std::string& file);

}  // namespace QXA
