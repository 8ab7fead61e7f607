// Lists of the node's KR templates, for people and programs.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/command_line.h"

namespace qxpkg {

/// Prints the OS templates `names` (none: all) and their applications; with -q as lines for callers
/// to parse. @throws Failure for an unknown name.
void listTemplates(const std::vector<std::string>& names, ListFormat format, const Output& output);

}  // namespace qxpkg
