// Finds failures in the output of dnf and rpm; their exit codes do not show all of them.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/engine/report_text.h"

namespace qxpkg {

/// Fed with the lines of both outputs in the order they come.
class RpmReport {
public:
    void line(const std::string& text);

    /// Packages of which a script failed. rpm installs and removes in spite of most such failures
    /// and exits with 0; here they count.
    [[nodiscard]] bool scriptFailed() const { return !m_scripts.empty(); }

    /// Their names, without version and architecture.
    [[nodiscard]] const std::set<std::string>& failedPackages() const { return m_packages; }

    /// One line: the scripts that failed, else the engine's own error, else "".
    [[nodiscard]] std::string reason() const;

private:
    ReasonParts m_scripts;  ///< "package 'x': %post script failed, exit status 3"
    std::set<std::string> m_packages;
    ReasonParts m_errors;
    bool m_problem = false;  ///< the next lines explain an error
};

/// Knows the lines of dnf and rpm that are no part of a report: what Debian's build says each time,
/// and the page of settings, passwords among them, that dnf prints for a repository without a key.
/// Asked for each line in the order they come.
class RpmNoise {
public:
    bool operator()(const std::string& line);

private:
    bool m_inSettings = false;
};

/// "name" of "name-version-release" or "name-version-release.architecture".
std::string rpmNameOf(const std::string& package);

/// The packages of a transaction that dnf lays out as a table before it asks.
class DnfPlan {
public:
    void line(const std::string& text);
    [[nodiscard]] const PackageList& packages() const { return m_packages; }

private:
    bool m_inTable = false;
    std::string m_name;  ///< a name too wide for its column stands on a line of its own
    PackageList m_packages;
};

}  // namespace qxpkg
