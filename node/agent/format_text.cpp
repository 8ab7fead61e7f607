// printf-style formatting in two passes; see format_text.h.
#include "node/agent/format_text.h"

#include <cstdio>

namespace QXL {

std::string formatText(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text;
    if (length < 0) {
        text = format;
    } else {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

}  // namespace QXL
