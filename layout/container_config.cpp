// Lines of a container's configuration; see container_config.h.
#include "layout/container_config.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "base/content.h"
#include "base/durable.h"
#include "layout/paths.h"

namespace qxnode {

namespace {

constexpr std::string_view kBlanks = " \t";

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isName(std::string_view text) {
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(), [](char c) { return isLetter(c) || isDigit(c); });
}

std::string_view withoutBlanks(std::string_view text) {
    const auto begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// True if the rest of a line, after the value, is blank or a comment.
bool isEndOfLine(std::string_view rest) {
    rest = withoutBlanks(rest);
    return rest.empty() || rest.front() == '#';
}

std::string written(std::string_view name, std::string_view value) {
    return std::string(name) + "=\"" + std::string(value) + "\"";
}

}  // namespace

bool ContainerConfig::isWritable(std::string_view value) {
    return value.find_first_of(std::string_view("\"\n\r\0", 4)) == std::string_view::npos;
}

bool ContainerConfig::parseLine(std::string_view raw, Line& line, std::string& reason) {
    line.raw = raw;
    const std::string_view text = withoutBlanks(raw);
    if (text.empty() || text.front() == '#') {
        return true;
    }
    const auto equals = text.find('=');
    if (equals == std::string_view::npos) {
        reason = "no NAME=\"value\"";
        return false;
    }
    const std::string_view name = text.substr(0, equals);
    if (!isName(name)) {
        reason = "not a parameter name before '='";
        return false;
    }
    std::string_view rest = text.substr(equals + 1);
    std::string_view value;
    if (!rest.empty() && rest.front() == '"') {
        const auto end = rest.find('"', 1);
        if (end == std::string_view::npos) {
            reason = "the value of " + std::string(name) + " has no closing '\"'";
            return false;
        }
        value = rest.substr(1, end - 1);
        rest = rest.substr(end + 1);
    } else {
        const auto end = std::min(rest.find_first_of(kBlanks), rest.size());
        value = rest.substr(0, end);
        rest = rest.substr(end);
    }
    if (!isWritable(value)) {
        reason = "the value of " + std::string(name) + " holds a character that is not allowed";
        return false;
    }
    if (!isEndOfLine(rest)) {
        reason = "text behind the value of " + std::string(name);
        return false;
    }
    line.name = name;
    line.value = value;
    return true;
}

std::optional<ContainerConfig> ContainerConfig::parse(std::string_view text,
                                                      const std::string& source,
                                                      std::string& error) {
    if (text.size() > kMaxBytes) {
        error = source + ": longer than " + std::to_string(kMaxBytes) + " bytes";
        return std::nullopt;
    }
    ContainerConfig config;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        std::string reason;
        Line line;
        const std::size_t number = config.m_lines.size() + 1;
        if (number > kMaxLines) {
            reason = "more than " + std::to_string(kMaxLines) + " lines";
        } else {
            parseLine(text.substr(0, end), line, reason);
        }
        if (!reason.empty()) {
            error = source + ":" + std::to_string(number) + ": " + reason;
            return std::nullopt;
        }
        config.m_lines.push_back(std::move(line));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return config;
}

std::optional<ContainerConfig> ContainerConfig::read(const std::string& path, std::string& error) {
    const auto content = base::readFile(path, kMaxBytes, error);
    if (!content) {
        return std::nullopt;
    }
    return parse(*content, path, error);
}

std::size_t ContainerConfig::lineOf(std::string_view name) const {
    const auto found = std::find_if(m_lines.rbegin(), m_lines.rend(),
                                    [&](const Line& line) { return line.name == name; });
    return name.empty() ? 0 : static_cast<std::size_t>(m_lines.rend() - found);
}

std::optional<std::string> ContainerConfig::get(std::string_view name) const {
    const std::size_t line = lineOf(name);
    if (line == 0) {
        return std::nullopt;
    }
    return m_lines[line - 1].value;
}

bool ContainerConfig::set(std::string_view name, std::string_view value) {
    if (!isName(name) || !isWritable(value)) {
        return false;
    }
    Line line{written(name, value), std::string(name), std::string(value)};
    const std::size_t old = lineOf(name);
    if (old == 0) {
        m_lines.push_back(std::move(line));
    } else {
        m_lines[old - 1] = std::move(line);
    }
    return true;
}

void ContainerConfig::remove(std::string_view name) {
    std::erase_if(m_lines,
                  [&](const Line& line) { return !line.name.empty() && line.name == name; });
}

std::vector<std::string> ContainerConfig::templates() const {
    std::vector<std::string> names;
    const std::string value = get(parameter::kTemplates).value_or("");
    std::size_t begin = 0;
    while ((begin = value.find_first_not_of(kBlanks, begin)) != std::string::npos) {
        const auto end = std::min(value.find_first_of(kBlanks, begin), value.size());
        names.push_back(value.substr(begin, end - begin));
        begin = end;
    }
    return names;
}

bool ContainerConfig::setTemplates(const std::vector<std::string>& names) {
    std::string value;
    for (const auto& name : names) {
        if (name.empty() || name.find_first_of(kBlanks) != std::string::npos) {
            return false;
        }
        value += (value.empty() ? "" : " ") + name;
    }
    return set(parameter::kTemplates, value);
}

std::string ContainerConfig::privateArea(int veid) const {
    constexpr std::string_view number = "$VEID";
    std::string area = get(parameter::kPrivateArea).value_or(kDefaultPrivateArea);
    const auto at = area.find(number);
    if (at != std::string::npos) {
        area.replace(at, number.size(), std::to_string(veid));
    }
    return area;
}

std::string ContainerConfig::text() const {
    std::string text;
    for (const auto& line : m_lines) {
        text += line.raw;
        text += '\n';
    }
    return text;
}

bool ContainerConfig::write(const std::string& path, std::string& error) const {
    const std::string content = text();
    // Do not write what readers refuse: the container would be lost.
    return parse(content, path, error) && base::replaceFile(path, content, error);
}

std::optional<int> veidOfConfigName(std::string_view fileName) {
    const std::string_view suffix = kContainerConfigSuffix;
    if (!fileName.ends_with(suffix)) {
        return std::nullopt;
    }
    fileName.remove_suffix(suffix.size());
    const bool plain = !fileName.empty() && isDigit(fileName.front()) &&
                       (fileName.front() != '0' || fileName.size() == 1);
    int veid = 0;
    const auto [end, failure] =
        std::from_chars(fileName.data(), fileName.data() + fileName.size(), veid);
    if (!plain || failure != std::errc{} || end != fileName.data() + fileName.size()) {
        return std::nullopt;
    }
    return veid;
}

std::vector<int> containerNumbers(const std::string& folder, std::error_code& failure) {
    namespace fs = std::filesystem;
    std::vector<int> numbers;
    fs::directory_iterator entry(folder, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        if (const auto veid = veidOfConfigName(entry->path().filename().string())) {
            numbers.push_back(*veid);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace qxnode
