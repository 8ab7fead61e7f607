// What stands behind a container's number on a command line.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qxpkg {

/// Takes the words behind the container's number off those of a command line: they are names, all
/// of them. The plug-in puts there what a request asks for, and who may change one container must
/// not reach an option in that way.
/// @param words  without the program's name.
/// @return the names; none when the line is not about a container.
std::vector<std::string> takeContainerNames(const CLI::App& app, std::vector<std::string>& words);

}  // namespace qxpkg
