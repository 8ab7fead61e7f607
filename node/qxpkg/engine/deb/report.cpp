// See report.h.
#include "node/qxpkg/engine/deb/report.h"

#include <algorithm>
#include <string_view>

namespace qxpkg {

namespace {

constexpr std::string_view kFailingPackage = "dpkg: error processing package ";
constexpr std::string_view kFailingArchive = "dpkg: error processing archive ";
constexpr std::string_view kError = "E: ";
constexpr const char* kRelations[] = {
    " : Depends: ", " : PreDepends: ", " : Conflicts: ", " : Breaks: "};

/// Up to the blank before "(--configure)".
std::string subjectOf(const std::string& line, std::string_view prefix) {
    return line.substr(prefix.size(), line.find(" (", prefix.size()) - prefix.size());
}

bool isUnmet(const std::string& text) {
    return std::any_of(std::begin(kRelations), std::end(kRelations), [&](const char* relation) {
        return text.find(relation) != std::string::npos;
    });
}

}  // namespace

void DebReport::line(const std::string& text) {
    if (!m_failing.empty()) {
        m_packages.add(m_failing + ": " + trimmed(text));
        m_failing.clear();
    } else if (text.starts_with(kFailingPackage)) {
        m_failing = "package '" + subjectOf(text, kFailingPackage) + "'";
    } else if (text.starts_with(kFailingArchive)) {
        const std::string path = subjectOf(text, kFailingArchive);
        m_failing = "archive '" + path.substr(path.rfind('/') + 1) + "'";
    } else if (isUnmet(text)) {
        m_unmet.add(trimmed(text));
    } else if (text.starts_with(kError) && m_error.empty()) {
        m_error = text.substr(kError.size());
    }
}

std::string DebReport::reason() const {
    return !m_packages.empty() ? m_packages.joined()
           : !m_unmet.empty()  ? m_unmet.joined()
                               : m_error;
}

}  // namespace qxpkg
