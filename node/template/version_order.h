// Names and versions of templates: checks them, and compares versions.
#pragma once

#include <string_view>

namespace QXA::tem {

/// Longest name or version; a record's file name has both.
inline constexpr std::size_t kMaxNameLength = 120;

/// True for a valid version, which becomes a directory name and a word of a container's
/// configuration: letters, digits and "._+-:~", beginning with a letter or digit.
bool isValidVersion(std::string_view version);

/// True for a valid name: the same rules, and not a directory of the template area with another
/// use.
bool isValidName(std::string_view name);

/// Orders versions so that the newest comes last: runs of digits compare as numbers.
bool versionLess(const std::string_view& a, const std::string_view& b);

}  // namespace QXA::tem
