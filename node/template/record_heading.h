// First lines of journals and records: the kind of file and the version of its form.
#pragma once

#include <iosfwd>
#include <string>

namespace QXA::tem {

/// Reads the first line, which must be `heading` ("NAME VERSION").
/// @param source  the file's name for messages.
/// @throws Failure; the message distinguishes a newer version from damage.
void takeHeading(std::istream& lines, const std::string& heading, const std::string& source);

}  // namespace QXA::tem
