// Checks for texts that XML can represent, and for XML that is safe to parse.
#pragma once

#include <string>
#include <string_view>

namespace QXL {

/// True if the bytes are UTF-8 and XML 1.0 allows all the characters.
bool isXmlText(std::string_view bytes);

/// The bytes, with each byte that is not allowed replaced by U+FFFD.
std::string xmlText(std::string_view bytes);

/// Limits of a parse.
struct XmlBounds {
    std::size_t bytes;
    unsigned depth;
    std::size_t elements;
};

/// True if a text is within the limits and its tags are balanced; this needs no memory. Document
/// types are refused: messages have none, and with entities a small text can become huge.
bool isWithinBounds(std::string_view text, const XmlBounds& bounds);

}  // namespace QXL
