// Reads untrusted TOML: with a size limit, and getters whose errors name file, key and the expected
// type.
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

/// A table of a TOML document; copies share the document. The text of a Failure is "FILE:LINE:
/// reason", or "FILE: reason" if it concerns no line.
class TomlTable {
public:
    /// Default limit for a document's length.
    static constexpr std::size_t kMaxBytes = 1U << 20;

    /// @param source  name of the document in errors.
    /// @throws Failure if it is too long or not TOML.
    static TomlTable parse(std::string_view text, const std::string& source,
                           std::size_t maxBytes = kMaxBytes);

    /// @throws Failure if the file cannot be read, is too long or not TOML.
    static TomlTable read(const std::string& path, std::size_t maxBytes = kMaxBytes);

    // Getters return nullopt (or an empty list) for a missing key, and throw Failure if the value
    // has another type.
    [[nodiscard]] std::optional<std::string> text(const std::string& key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(const std::string& key) const;
    [[nodiscard]] std::optional<bool> boolean(const std::string& key) const;
    [[nodiscard]] std::optional<TomlTable> table(const std::string& key) const;
    [[nodiscard]] std::vector<std::string> texts(const std::string& key) const;
    [[nodiscard]] std::vector<TomlTable> tables(const std::string& key) const;

    /// @throws Failure also if the key is missing.
    [[nodiscard]] std::string requiredText(const std::string& key) const;

    /// A list of texts and integers; integers become decimal digits.
    [[nodiscard]] std::vector<std::string> textsOrIntegers(const std::string& key) const;

    /// Keys in order.
    [[nodiscard]] std::vector<std::string> keys() const;

    /// An error text about a value. @return "FILE:LINE: key 'KEY': reason".
    [[nodiscard]] Failure fault(const std::string& key, const std::string& reason) const;

private:
    struct Node;
    explicit TomlTable(std::shared_ptr<const Node> node) : m_node(std::move(node)) {}

    std::shared_ptr<const Node> m_node;
};

}  // namespace qxnode
