// Stanzas of fields; see index.h.
#include "node/kr/deb/index.h"

#include <algorithm>
#include <utility>

#include "node/kr/text.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxnode {

namespace {

Failure malformed(const std::string& reason) {
    return {QXTT_E_BAD_REPOSITORY, "no list of packages: " + reason};
}

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

}  // namespace

void DebIndex::add(std::string_view block) {
    while (!block.empty()) {
        const std::size_t end = block.find('\n');
        m_line += block.substr(0, end);
        if (m_line.size() > kMaxLine) {
            throw malformed("a line is longer than " + std::to_string(kMaxLine) + " bytes");
        }
        if (end == std::string_view::npos) {
            return;
        }
        takeLine(m_line);
        m_line.clear();
        block.remove_prefix(end + 1);
    }
}

void DebIndex::finish() {
    takeLine(m_line);
    m_line.clear();
    takeStanza();
}

void DebIndex::takeLine(std::string_view line) {
    if (withoutBlanks(line).empty()) {
        takeStanza();
        return;
    }
    if (line.front() == ' ' || line.front() == '\t') {
        if (m_inDescription && m_description.size() + line.size() < kMaxDescription) {
            m_description += '\n';
            m_description += line;
        }
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) {
        throw malformed("a line is not a field");
    }
    m_inStanza = true;
    takeField(line.substr(0, colon), withoutBlanks(line.substr(colon + 1)));
}

void DebIndex::takeField(std::string_view name, std::string_view value) {
    m_inDescription = name == "Description";
    if (m_inDescription) {
        m_description = value;
    } else if (name == "Package") {
        m_package.name = value;
    } else if (name == "Version") {
        m_package.version = value;
    } else if (name == "Architecture") {
        m_package.architecture = value;
    }
}

void DebIndex::takeStanza() {
    if (!std::exchange(m_inStanza, false)) {
        return;
    }
    if (m_package.name.empty()) {
        throw malformed("a package has no name");
    }
    auto lines = linesOf(std::exchange(m_description, {}));
    m_package.summary = lines.empty() ? std::string() : oneLine(lines.front());
    m_package.description = debDescription(std::move(lines));
    m_inDescription = false;
    m_onPackage(std::exchange(m_package, {}));
}

}  // namespace qxnode
