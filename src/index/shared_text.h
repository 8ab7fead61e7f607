// A text, or none, that many holders share: the entries of a directory mostly have one link string.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dirindex {

/// Is used as an optional string that cannot be changed in place.
class SharedText {
public:
    SharedText() = default;
    SharedText(std::nullopt_t /*none*/) {}
    SharedText(std::string text) : m_text(std::make_shared<const std::string>(std::move(text))) {}
    SharedText(const char* text) : SharedText(std::string(text)) {}

    [[nodiscard]] bool has_value() const { return m_text != nullptr; }
    const std::string& operator*() const { return *m_text; }
    const std::string* operator->() const { return m_text.get(); }
    [[nodiscard]] std::string value_or(std::string_view otherwise) const {
        return m_text != nullptr ? *m_text : std::string(otherwise);
    }

    bool operator==(const SharedText& other) const {
        return m_text == other.m_text ||
               (m_text != nullptr && other.m_text != nullptr && *m_text == *other.m_text);
    }

private:
    std::shared_ptr<const std::string> m_text;
};

}  // namespace dirindex
