// Texts for reports about engines.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// The text without blanks and tabs at its ends.
inline std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// Collects the parts of a reason and limits their number and length: package scripts write to the
/// same streams as engines and may print any amount of text.
class ReasonParts {
public:
    static constexpr std::size_t kMost = 8;
    static constexpr std::size_t kLongest = 400;

    void add(const std::string& part) {
        ++m_count;
        if (m_parts.size() < kMost) {
            m_parts.push_back(part.size() <= kLongest ? part : part.substr(0, kLongest) + "...");
        }
    }

    [[nodiscard]] bool empty() const { return m_count == 0; }

    /// "a; b; c", and the number of further parts.
    [[nodiscard]] std::string joined() const {
        std::string text;
        for (const std::string& part : m_parts) {
            text += (text.empty() ? "" : "; ") + part;
        }
        const std::size_t more = m_count - m_parts.size();
        return more == 0 ? text : text + "; and " + std::to_string(more) + " more";
    }

private:
    std::vector<std::string> m_parts;
    std::size_t m_count = 0;
};

}  // namespace qxpkg
