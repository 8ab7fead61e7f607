// Reading TOML that nobody vouches for: a size bound, and getters whose errors name file, key and
// the type that was expected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "node/support/failure.h"

namespace qxnode {

/// A table of a TOML document; copies share the document. Failures say "FILE:LINE: reason", or
/// "FILE: reason" when no line is to blame.
class TomlTable {
public:
    /// Longest document unless the caller says otherwise.
    static constexpr std::size_t kMaxBytes = 1U << 20;

    /// @param source  what to call the document in errors.
    /// @throws Failure when it is too long or no TOML.
    static TomlTable parse(std::string_view text, const std::string& source,
                           std::size_t maxBytes = kMaxBytes);

    /// @throws Failure when the file cannot be read, is too long or no TOML.
    static TomlTable read(const std::string& path, std::size_t maxBytes = kMaxBytes);

    // Getters give nullopt (or an empty list) for a key that is not there, and throw Failure
    // when its value is of another type.
    [[nodiscard]] std::optional<std::string> text(const std::string& key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(const std::string& key) const;
    [[nodiscard]] std::optional<bool> boolean(const std::string& key) const;
    [[nodiscard]] std::optional<TomlTable> table(const std::string& key) const;
    [[nodiscard]] std::vector<std::string> texts(const std::string& key) const;
    [[nodiscard]] std::vector<TomlTable> tables(const std::string& key) const;

    /// @throws Failure also when the key is not there.
    [[nodiscard]] std::string requiredText(const std::string& key) const;

    /// A list whose elements are texts or integers, integers in decimal digits.
    [[nodiscard]] std::vector<std::string> textsOrIntegers(const std::string& key) const;

    /// Keys in order.
    [[nodiscard]] std::vector<std::string> keys() const;

    /// For readers' own findings about a value. @return "FILE:LINE: key 'KEY': reason".
    [[nodiscard]] Failure fault(const std::string& key, const std::string& reason) const;

private:
    struct Node;
    explicit TomlTable(std::shared_ptr<const Node> node) : m_node(std::move(node)) {}

    std::shared_ptr<const Node> m_node;
};

}  // namespace qxnode
