// Names and versions of templates: which are allowed, and which version is newer.
#pragma once

#include <string_view>

namespace QXA::tem {

/// Longest name or version; both become file names, and records join them.
inline constexpr std::size_t kMaxNameLength = 120;

/// A name that may become a directory of the template area and a word of a container's
/// configuration: letters, digits and "._+-:~", beginning with a letter or digit.
bool isValidVersion(std::string_view version);

/// As a version, and none of the directories that belong to other parts of the template area.
bool isValidName(std::string_view name);

/// Orders versions so that the newest comes last: runs of digits compare as numbers.
bool versionLess(const std::string_view& a, const std::string_view& b);

}  // namespace QXA::tem
