// Typed access to a TOML document; see toml_reader.h.
#include "node/support/toml_reader.h"

#include <toml++/toml.h>
#include <unistd.h>

#include <sstream>

#include "base/content.h"

namespace qxnode {

namespace {

struct Document {
    toml::table root;
    std::string source;
};

std::string at(const std::string& source, const toml::source_region& region) {
    return region.begin.line == 0 ? source + ": "
                                  : source + ":" + std::to_string(region.begin.line) + ": ";
}

std::string typeName(const toml::node& node) {
    std::ostringstream name;
    name << node.type();
    return name.str();
}

}  // namespace

/// A table together with the document that owns it and its place in it.
struct TomlTable::Node {
    std::shared_ptr<const Document> document;
    const toml::table* table;
    std::string prefix;  ///< of its keys in messages, "node." or ""

    [[nodiscard]] Failure fault(const std::string& key, const toml::node* node,
                                const std::string& reason) const {
        const toml::node& place = node == nullptr ? *table : *node;
        return Failure(at(document->source, place.source()) + "key '" + prefix + key +
                       "': " + reason);
    }

    [[nodiscard]] Failure wrongType(const std::string& key, const toml::node& node,
                                    const std::string& expected) const {
        return fault(key, &node, "expected " + expected + ", found " + typeName(node));
    }

    template <typename Value>
    [[nodiscard]] std::optional<Value> value(const std::string& key, const char* expected) const {
        const toml::node* node = table->get(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        const auto* typed = node->as<Value>();
        if (typed == nullptr) {
            throw wrongType(key, *node, expected);
        }
        return typed->get();
    }

    template <typename Visit>
    void eachOf(const std::string& key, const char* expected, const Visit& visit) const {
        const toml::node* node = table->get(key);
        if (node == nullptr) {
            return;
        }
        const toml::array* list = node->as_array();
        if (list == nullptr) {
            throw wrongType(key, *node, expected);
        }
        for (const toml::node& element : *list) {
            visit(element);
        }
    }
};

TomlTable TomlTable::parse(std::string_view text, const std::string& source, std::size_t maxBytes) {
    if (text.size() > maxBytes) {
        throw Failure(source + ": longer than " + std::to_string(maxBytes) + " bytes");
    }
    try {
        auto document = std::make_shared<Document>(Document{toml::parse(text, source), source});
        const toml::table* root = &document->root;
        return TomlTable(std::make_shared<Node>(Node{std::move(document), root, ""}));
    } catch (const toml::parse_error& failure) {
        throw Failure(at(source, failure.source()) + std::string(failure.description()));
    }
}

TomlTable TomlTable::read(const std::string& path, std::size_t maxBytes) {
    std::string error;
    const auto content = base::readFile(path, maxBytes, error);
    if (!content) {
        throw Failure(error);
    }
    return parse(*content, path, maxBytes);
}

std::optional<std::string> TomlTable::text(const std::string& key) const {
    return m_node->value<std::string>(key, "a string");
}

std::optional<std::int64_t> TomlTable::integer(const std::string& key) const {
    return m_node->value<std::int64_t>(key, "an integer");
}

std::optional<bool> TomlTable::boolean(const std::string& key) const {
    return m_node->value<bool>(key, "a boolean");
}

std::optional<TomlTable> TomlTable::table(const std::string& key) const {
    const toml::node* node = m_node->table->get(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const toml::table* table = node->as_table();
    if (table == nullptr) {
        throw m_node->wrongType(key, *node, "a table");
    }
    return TomlTable(
        std::make_shared<Node>(Node{m_node->document, table, m_node->prefix + key + "."}));
}

std::vector<std::string> TomlTable::texts(const std::string& key) const {
    std::vector<std::string> list;
    m_node->eachOf(key, "an array of strings", [&](const toml::node& element) {
        const auto* text = element.as_string();
        if (text == nullptr) {
            throw m_node->wrongType(key, element, "an array of strings");
        }
        list.push_back(text->get());
    });
    return list;
}

std::vector<std::string> TomlTable::textsOrIntegers(const std::string& key) const {
    constexpr const char* expected = "an array of strings and integers";
    std::vector<std::string> list;
    m_node->eachOf(key, expected, [&](const toml::node& element) {
        if (const auto* text = element.as_string()) {
            list.push_back(text->get());
        } else if (const auto* number = element.as_integer()) {
            list.push_back(std::to_string(number->get()));
        } else {
            throw m_node->wrongType(key, element, expected);
        }
    });
    return list;
}

std::vector<TomlTable> TomlTable::tables(const std::string& key) const {
    std::vector<TomlTable> list;
    m_node->eachOf(key, "an array of tables", [&](const toml::node& element) {
        const toml::table* table = element.as_table();
        if (table == nullptr) {
            throw m_node->wrongType(key, element, "an array of tables");
        }
        list.push_back(TomlTable(
            std::make_shared<Node>(Node{m_node->document, table, m_node->prefix + key + "."})));
    });
    return list;
}

std::string TomlTable::requiredText(const std::string& key) const {
    auto value = text(key);
    if (!value) {
        throw m_node->fault(key, nullptr, "missing");
    }
    return std::move(*value);
}

std::vector<std::string> TomlTable::keys() const {
    std::vector<std::string> names;
    for (const auto& [key, node] : *m_node->table) {
        names.emplace_back(key.str());
    }
    return names;
}

Failure TomlTable::fault(const std::string& key, const std::string& reason) const {
    return m_node->fault(key, m_node->table->get(key), reason);
}

}  // namespace qxnode
