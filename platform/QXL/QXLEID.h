// QXLEID: identifier of an environment (the node or a container), a value.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace QXL {

/// Identifier of an environment: empty (EID_INVALID), an alias for this node (EID_LOCAL), or a
/// UUID. EID_LOCAL is valid and equals only itself. The node's own UUID
/// (QXLConfiguration::getLocalEID) is a different value, so callers must compare with both.
class QXLEID {
public:
    static const QXLEID EID_INVALID;  ///< the empty identifier, the only one that is not valid
    static const QXLEID EID_LOCAL;    ///< the node itself; its text form is "local"

    constexpr QXLEID() = default;

    /// Reads a text form: "local", or a UUID of 36 characters in either case.
    /// Any other text, the empty one included, gives EID_INVALID.
    static QXLEID fromString(std::string_view text);

    /// False only for EID_INVALID.
    [[nodiscard]] constexpr bool isValid() const { return m_kind != Kind::invalid; }

    /// The text form that appears in messages and files: the lower-case UUID, "local", or "".
    [[nodiscard]] std::string toString() const;

    friend constexpr bool operator==(const QXLEID&, const QXLEID&) = default;
    // The compiler's own comparison with 0 looks like a null pointer to the linter.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    friend constexpr std::strong_ordering operator<=>(const QXLEID&, const QXLEID&) = default;

private:
    enum class Kind : std::uint8_t { invalid, local, uuid };
    using Bytes = std::array<std::uint8_t, 16>;

    constexpr QXLEID(Kind kind, const Bytes& bytes) : m_kind(kind), m_bytes(bytes) {}
    static constexpr int hexValue(char digit);

    Kind m_kind = Kind::invalid;
    Bytes m_bytes{};
};

inline constexpr QXLEID QXLEID::EID_INVALID{};
inline constexpr QXLEID QXLEID::EID_LOCAL{QXLEID::Kind::local, {}};

constexpr int QXLEID::hexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

inline QXLEID QXLEID::fromString(std::string_view text) {
    if (text == "local") {
        return EID_LOCAL;
    }
    if (text.size() != 36) {
        return EID_INVALID;
    }
    Bytes bytes{};
    std::size_t nibble = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') {
                return EID_INVALID;
            }
            continue;
        }
        const int value = hexValue(text[i]);
        if (value < 0) {
            return EID_INVALID;
        }
        const int shift = nibble % 2 == 0 ? 4 : 0;
        bytes[nibble / 2] = static_cast<std::uint8_t>(bytes[nibble / 2] | (value << shift));
        ++nibble;
    }
    return {Kind::uuid, bytes};
}

inline std::string QXLEID::toString() const {
    if (m_kind == Kind::invalid) {
        return {};
    }
    if (m_kind == Kind::local) {
        return "local";
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < m_bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        text += digits[m_bytes[i] >> 4];
        text += digits[m_bytes[i] & 15];
    }
    return text;
}

}  // namespace QXL
