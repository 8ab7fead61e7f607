// First lines of journals and records: what the file is, and the version of its form.
#pragma once

#include <iosfwd>
#include <string>

namespace QXA::tem {

/// Takes the first line, which must be `heading` ("NAME VERSION").
/// @param source  the file's name for messages.
/// @throws Failure; a higher version is told as that and not as damage.
void takeHeading(std::istream& lines, const std::string& heading, const std::string& source);

}  // namespace QXA::tem
