// Text that XML can carry, and the shape of XML that is safe to parse.
#pragma once

#include <string>
#include <string_view>

namespace QXL {

/// Whether the bytes are UTF-8 of characters that XML 1.0 allows.
bool isXmlText(std::string_view bytes);

/// The bytes with everything that isXmlText() objects to written as U+FFFD, one for each byte.
std::string xmlText(std::string_view bytes);

/// What a parse may cost.
struct XmlBounds {
    std::size_t bytes;
    unsigned depth;
    std::size_t elements;
};

/// Whether a text stays within the bounds, and its tags are balanced, without building anything.
/// Document types are refused: messages have none, and entities are how XML is made to grow.
bool isWithinBounds(std::string_view text, const XmlBounds& bounds);

}  // namespace QXL
