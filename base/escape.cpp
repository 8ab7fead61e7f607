// Escapes, by the rules of well-formed UTF-8; see escape.h.
#include "base/escape.h"

namespace base {

namespace {

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

void appendByte(std::string& out, unsigned char byte) {
    constexpr const char* digits = "0123456789abcdef";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

struct Character {
    std::size_t length;  ///< 0: not UTF-8
    char32_t code;
};

/// The character that begins at a byte.
Character characterAt(std::string_view text, std::size_t at) {
    const unsigned char first = byteAt(text, at);
    if (first < 0x80) {
        return {1, first};
    }
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || at + length > text.size()) {
        return {0, 0};
    }
    char32_t code = first & (0x7fU >> length);
    for (std::size_t next = at + 1; next < at + length; ++next) {
        if ((byteAt(text, next) & 0xc0) != 0x80) {
            return {0, 0};
        }
        code = code << 6 | (byteAt(text, next) & 0x3f);
    }
    // Longer than need be, half of a pair, or beyond the last character.
    const bool wrong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000) ||
                       (code >= 0xd800 && code < 0xe000) || code > 0x10ffff;
    return {wrong ? 0 : length, code};
}

bool steers(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) ||                           // controls
           code == 0x200e || code == 0x200f || (code >= 0x2028 && code < 0x202f) ||  // direction
           (code >= 0x2066 && code < 0x206a);
}

/// Copies characters that `plain` takes and escapes the bytes of all others.
template <typename Plain>
std::string escape(std::string_view text, const Plain& plain) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        const std::size_t length = character.length == 0 ? 1 : character.length;
        if (character.length > 0 && plain(character.code)) {
            out += text.substr(at, length);
        } else {
            for (const char byte : text.substr(at, length)) {
                appendByte(out, static_cast<unsigned char>(byte));
            }
        }
        at += length;
    }
    return out;
}

}  // namespace

std::string printable(std::string_view text) {
    return escape(text, [](char32_t code) { return !steers(code); });
}

std::string printableLines(std::string_view text) {
    return escape(text,
                  [](char32_t code) { return code == '\n' || code == '\t' || !steers(code); });
}

std::string reversible(std::string_view text) {
    std::string out;
    for (std::size_t at = text.find('\\'); at != text.npos; at = text.find('\\')) {
        out += reversible(text.substr(0, at)) + "\\\\";
        text.remove_prefix(at + 1);
    }
    return out + escape(text, [](char32_t) { return true; });
}

std::string quoted(std::string_view text) {
    return '"' +
           escape(text,
                  [](char32_t code) {
                      return code >= 0x20 && code < 0x7f && code != '"' && code != '\\';
                  }) +
           '"';
}

}  // namespace base
