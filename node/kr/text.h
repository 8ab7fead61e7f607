// Converts texts of packages into the form that records have.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qxnode {

/// Lines without their ends; empty lines at the end are left out.
std::vector<std::string> linesOf(std::string_view text);

/// Makes a text one line: line ends with the blanks around them become one blank.
std::string oneLine(std::string_view text);

/// Converts the lines after the first one of a deb description: each is indented by a blank, and a
/// single dot means an empty line.
std::vector<std::string> debDescription(std::vector<std::string> lines);

}  // namespace qxnode
