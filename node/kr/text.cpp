// Lines and names; see text.h.
#include "node/kr/text.h"

#include <algorithm>

namespace qxnode {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::string_view withoutSpaceBehind(std::string_view text) {
    const std::size_t last = text.find_last_not_of(kSpace);
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

}  // namespace

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    text = withoutSpaceBehind(text);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string oneLine(std::string_view text) {
    std::string line;
    for (std::string& part : linesOf(text)) {
        const std::size_t begin = std::min(part.find_first_not_of(kSpace), part.size());
        const std::string_view words = withoutSpaceBehind(std::string_view(part).substr(begin));
        if (!line.empty() && !words.empty()) {
            line += ' ';
        }
        line += words;
    }
    return line;
}

std::vector<std::string> debDescription(std::vector<std::string> lines) {
    lines.erase(lines.begin(), lines.begin() + (lines.empty() ? 0 : 1));
    for (std::string& line : lines) {
        if (line.starts_with(' ')) {
            line.erase(0, 1);
        }
        if (line == ".") {
            line.clear();
        }
    }
    return lines;
}

}  // namespace qxnode
