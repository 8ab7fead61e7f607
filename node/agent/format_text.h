// printf-style formatting into a string of any length.
#pragma once

#include <cstdarg>
#include <string>

namespace QXL {

/// The formatted text; the format itself if the C library cannot format it.
std::string formatText(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

}  // namespace QXL
