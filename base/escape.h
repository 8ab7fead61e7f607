// Texts of others, made fit for a line of text, a terminal, or JSON.
#pragma once

#include <string>
#include <string_view>

namespace base {

/// For people: one line in which nothing steers a terminal. Control characters, characters that
/// change the direction of text, and bytes that are not UTF-8 become "\xNN". A text that needs
/// none of it, such as an escaped one, stays as it is.
std::string printable(std::string_view text);

/// The same for a text of several lines: line ends and tabs stay.
std::string printableLines(std::string_view text);

/// For programs, as UTF-8 that can be turned back: bytes that are not UTF-8 become "\xNN", and a
/// backslash becomes two.
std::string reversible(std::string_view text);

/// As ASCII between quotation marks: every other byte, '"' and '\' become "\xNN".
std::string quoted(std::string_view text);

}  // namespace base
