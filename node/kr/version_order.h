// Compares versions in the same way as the engines.
#pragma once

#include <string_view>

namespace qxnode {

/// Negative if `a` is older than `b`, 0 if they are equal, positive if it is newer. Versions have
/// the form "[epoch:]version[-revision]".
int compareDebVersions(std::string_view a, std::string_view b);
int compareRpmVersions(std::string_view a, std::string_view b);

}  // namespace qxnode
