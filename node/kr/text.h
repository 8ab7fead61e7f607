// Texts of packages in the form that records carry them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qxnode {

/// Lines without their ends; empty lines at the end are left out.
std::vector<std::string> linesOf(std::string_view text);

/// A text that is to stand on one line: runs of line ends and the blanks around them become one
/// blank.
std::string oneLine(std::string_view text);

/// What follows the first line of a deb description, which is the summary: each line is indented by
/// a blank, and a lone dot stands for an empty line.
std::vector<std::string> debDescription(std::vector<std::string> lines);

}  // namespace qxnode
