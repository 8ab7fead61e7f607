// Where the programs that requests run are looked for.
#pragma once

#include <string>

namespace qxa {

/// PATH with a folder of programs in front of the system's own folders, and behind what stands in
/// front of these: that, somebody put there on purpose. A PATH that holds the folder stays as it
/// is.
std::string pathWith(const std::string& path, const std::string& folder);

}  // namespace qxa
