// See report.h.
#include "node/qxpkg/engine/rpm/report.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace qxpkg {

namespace {

constexpr std::string_view kScriptWarning = "warning: %";
constexpr std::string_view kScriptError = "error: %";
constexpr std::string_view kScriptFailed = ") scriptlet failed, ";
constexpr std::string_view kErrors[] = {"Error: ", "error: "};
constexpr std::string_view kProblemRepository = "Problem repository: ";
constexpr std::string_view kTableHead = " Package ";
constexpr std::string_view kTableEnd = "Transaction Summary";

/// More packages than any transaction has; a limit against scripts that print invented names.
constexpr std::size_t kMaxFailedPackages = 10000;

}  // namespace

std::string rpmNameOf(const std::string& package) {
    const std::size_t release = package.rfind('-');
    if (release == std::string::npos || release == 0) {
        return package;
    }
    const std::size_t version = package.rfind('-', release - 1);
    return version == std::string::npos ? package : package.substr(0, version);
}

bool RpmNoise::operator()(const std::string& line) {
    if (line.starts_with(kProblemRepository)) {
        m_inSettings = true;
        return false;
    }
    const std::size_t name = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz_");
    m_inSettings =
        m_inSettings && name != std::string::npos && name > 0 && line.compare(name, 2, ": ") == 0;
    return m_inSettings || line.starts_with("rpm: RPM should not be used directly") ||
           line.starts_with("rpm: However assuming you know");
}

void RpmReport::line(const std::string& text) {
    if (text.starts_with(kProblemRepository)) {
        m_errors.add("no key to check the signatures of repository " +
                     text.substr(kProblemRepository.size()));
        return;
    }
    // "warning: %post(name-1.0-1.noarch) scriptlet failed, exit status 3"
    for (const std::string_view prefix : {kScriptWarning, kScriptError}) {
        const std::size_t open = text.find('(');
        const std::size_t failed = text.find(kScriptFailed);
        if (text.starts_with(prefix) && open != std::string::npos && failed != std::string::npos &&
            open < failed) {
            const std::string package = rpmNameOf(text.substr(open + 1, failed - open - 1));
            const std::string script = text.substr(prefix.size() - 1, open - prefix.size() + 1);
            if (m_packages.size() < kMaxFailedPackages) {
                m_packages.insert(package);
            }
            m_scripts.add("package '" + package + "': " + script + " script failed, " +
                          text.substr(failed + kScriptFailed.size()));
            return;
        }
    }
    for (const std::string_view prefix : kErrors) {
        if (text.starts_with(prefix)) {
            const std::string rest = trimmed(text.substr(prefix.size()));
            m_problem = rest.empty() || rest.ends_with(':');
            if (!m_problem) {
                m_errors.add(rest);
            }
            return;
        }
    }
    if (m_problem && text.starts_with(' ') && !trimmed(text).empty()) {
        std::string why = trimmed(text);
        constexpr std::string_view problem = "Problem: ";
        m_errors.add(why.starts_with(problem) ? why.substr(problem.size())
                     : why.starts_with("- ")  ? why.substr(2)
                                              : why);
        return;
    }
    m_problem = false;
}

std::string RpmReport::reason() const {
    return scriptFailed() ? m_scripts.joined() : m_errors.joined();
}

void DnfPlan::line(const std::string& text) {
    if (text.starts_with(kTableHead)) {
        m_inTable = true;
        return;
    }
    if (text.starts_with(kTableEnd)) {
        m_inTable = false;
    }
    if (!m_inTable || !text.starts_with(' ')) {
        return;
    }
    std::istringstream words(text);
    Package package;
    if (!m_name.empty()) {
        package.name = m_name;
        m_name.clear();
    } else if (!(words >> package.name)) {
        return;
    }
    if (!(words >> package.architecture)) {
        m_name = package.name;
        return;
    }
    std::string repository;
    if (words >> package.version >> repository) {
        m_packages.push_back(package);
    }
}

}  // namespace qxpkg
