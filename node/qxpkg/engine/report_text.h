// Texts of engines' reports.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// Without blanks and tabs at either end.
inline std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// "a; b; c".
inline std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) {
        text += (text.empty() ? "" : "; ") + part;
    }
    return text;
}

}  // namespace qxpkg
