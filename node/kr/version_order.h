// Which of two versions is newer, as the engines see it.
#pragma once

#include <string_view>

namespace qxnode {

/// Below 0 when `a` is older than `b`, 0 when they are equal, above 0 when it is newer. Versions
/// are whole: "[epoch:]version[-revision]".
int compareDebVersions(std::string_view a, std::string_view b);
int compareRpmVersions(std::string_view a, std::string_view b);

}  // namespace qxnode
