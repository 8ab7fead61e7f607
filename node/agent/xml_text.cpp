// Characters and shape of XML; see xml_text.h.
#include "node/agent/xml_text.h"

#include <cstdint>

namespace QXL {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool isXmlCharacter(std::uint32_t code) {
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xD7FF) ||
           (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

/// Length of the character at the start of a non-empty text; 0 if XML cannot represent it.
std::size_t characterLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return isXmlCharacter(lead) ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr std::uint32_t leastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    std::uint32_t code = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (byte & 0x3F);
    }
    return code >= leastOfLength[length] && isXmlCharacter(code) ? length : 0;
}

/// Removes the start of a text up to the first `end`, included. False if there is no `end`.
bool skipPast(std::string_view& text, std::string_view end) {
    const auto found = text.find(end);
    if (found == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(found + end.size());
    return true;
}

enum class Tag { open, close, empty, broken };

/// Removes a tag whose "<" was removed before. Values in quotation marks may contain ">".
Tag skipTag(std::string_view& text) {
    const bool closes = text.starts_with('/');
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote != '\0') {
            quote = c == quote ? '\0' : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '<') {
            return Tag::broken;
        } else if (c == '>') {
            const bool empty = i > 0 && text[i - 1] == '/' && !closes;
            text.remove_prefix(i + 1);
            return closes ? Tag::close : empty ? Tag::empty : Tag::open;
        }
    }
    return Tag::broken;
}

}  // namespace

bool isXmlText(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string xmlText(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        text += length == 0 ? kReplacement : bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

bool isWithinBounds(std::string_view text, const XmlBounds& bounds) {
    if (text.size() > bounds.bytes) {
        return false;
    }
    unsigned depth = 0;
    std::size_t elements = 0;
    while (skipPast(text, "<")) {
        if (text.starts_with("!--")) {
            text.remove_prefix(3);
            if (!skipPast(text, "-->")) {
                return false;
            }
        } else if (text.starts_with("![CDATA[")) {
            if (!skipPast(text, "]]>")) {
                return false;
            }
        } else if (text.starts_with('?')) {
            if (!skipPast(text, "?>")) {
                return false;
            }
        } else if (text.starts_with('!')) {
            return false;
        } else {
            const Tag tag = skipTag(text);
            if (tag == Tag::broken || (tag == Tag::close && depth == 0)) {
                return false;
            }
            depth += tag == Tag::open ? 1 : 0;
            depth -= tag == Tag::close ? 1 : 0;
            elements += tag == Tag::close ? 0 : 1;
            const unsigned reached = depth + (tag == Tag::empty ? 1 : 0);
            if (reached > bounds.depth || elements > bounds.elements) {
                return false;
            }
        }
    }
    return depth == 0;
}

}  // namespace QXL
