// PATH for the programs that requests run.
#pragma once

#include <string>

namespace qxa {

/// Inserts a folder into PATH before the system's folders, but after folders that the user put in
/// front of them. A PATH that has the folder already is not changed.
std::string pathWith(const std::string& path, const std::string& folder);

}  // namespace qxa
