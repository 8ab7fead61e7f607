// See change.h.
#include "node/qxpkg/container/change.h"

#include <algorithm>
#include <optional>

#include "node/qxpkg/container/intent.h"
#include "node/qxpkg/container/package_cache.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

class Change {
public:
    Change(const Place& place, Action action, const std::vector<std::string>& names,
           const Options& options, const Output& output)
        : m_place(place),
          m_action(action),
          m_names(names),
          m_options(options),
          m_output(output),
          m_engine(makeEngine(place, options, output)) {}

    void run() {
        m_before = m_engine->installed();
        if (!m_options.dryRun) {
            repairInterrupted();
        }
        requireInstalled();
        if (m_action == Action::install && !m_options.force && allThere()) {
            report(m_before);
            return;
        }
        if (m_action != Action::remove) {
            seedDownloads(m_place);
            m_engine->refresh();
        }
        if (m_options.dryRun) {
            reportPlan();
            return;
        }
        refuseDependents();
        carryOut();
        const PackageList after = m_engine->installed();
        if (!m_pending || isInOrder(after)) {
            clearIntent(m_place);
        }
        requireEffect(after);
        report(after);
    }

private:
    void repairInterrupted() {
        const std::optional<PackageList> atStart = readIntent(m_place);
        m_engine->repair(m_before, atStart ? &*atStart : nullptr);
        if (atStart) {
            takeBackIncomplete(*atStart);
        }
        if (atStart || !isInOrder(m_before)) {
            m_before = m_engine->installed();
        }
        // What cannot be repaired, for example on a full disk, stays recorded for a later run.
        m_pending = atStart && !isInOrder(m_before);
        if (atStart && !m_pending) {
            clearIntent(m_place);
        }
    }

    /// @param then  the packages before the change.
    void takeBackIncomplete(const PackageList& then) {
        PackageList fresh;
        for (const Package& package : m_engine->installed()) {
            if (packagesNamed(then, package.name).empty()) {
                fresh.push_back(package);
            }
        }
        if (!fresh.empty()) {
            m_engine->takeBack(fresh);
        }
    }

    static bool isInOrder(const PackageList& packages) {
        return std::all_of(packages.begin(), packages.end(),
                           [](const Package& p) { return p.complete && !p.removing; });
    }

    [[nodiscard]] bool isThere(const std::string& name) const {
        const PackageList found = packagesNamed(m_before, name);
        return !found.empty() &&
               std::all_of(found.begin(), found.end(), [](const Package& p) { return p.complete; });
    }

    [[nodiscard]] bool allThere() const {
        return std::all_of(m_names.begin(), m_names.end(),
                           [&](const std::string& name) { return isThere(name); });
    }

    void requireInstalled() const {
        if (m_action == Action::install) {
            return;
        }
        for (const std::string& name : m_names) {
            if (packagesNamed(m_before, name).empty()) {
                throw Failure("package '" + name + "' is not installed");
            }
        }
    }

    void refuseDependents() {
        if (m_action != Action::remove || m_options.withDependents || m_options.force) {
            return;
        }
        PackageList others;
        for (const Package& package : m_engine->plan(m_action, m_names)) {
            const bool named = std::any_of(m_names.begin(), m_names.end(), [&](const auto& name) {
                return name == package.name || name.starts_with(package.name + ":");
            });
            if (!named) {
                others.push_back(package);
            }
        }
        if (!others.empty()) {
            throw Failure(kRefused, enumeration(m_names) + " cannot be removed: needed by " +
                                        enumeration(others));
        }
    }

    void carryOut() {
        if (!m_pending) {
            writeIntent(m_place, m_before);
        }
        try {
            m_engine->perform(m_action, m_names);
        } catch (const Failure&) {
            putInOrder();
            throw;
        }
    }

    /// Checks the result: on a full disk, engines may exit with 0 without having done anything.
    void requireEffect(const PackageList& after) const {
        for (const std::string& name : m_names) {
            const bool there = !packagesNamed(after, name).empty();
            if (m_action == Action::remove && there) {
                throw Failure("package '" + name + "' is still installed");
            }
            // The name may be provided by another package; then it is not in the list.
            if (m_action == Action::install && !there && difference(after, m_before).empty()) {
                throw Failure("package '" + name + "' was not installed");
            }
        }
    }

    /// Repairs after a failure. If that fails, too, the next run tries again; the reason that is
    /// reported is that of the first failure.
    void putInOrder() {
        try {
            if (m_action == Action::install) {
                takeBackIncomplete(m_before);
            } else if (m_action == Action::remove) {
                m_engine->withdrawRemoval();
            }
            if (isInOrder(m_engine->installed())) {
                clearIntent(m_place);
            }
        } catch (const Failure& failure) {
            m_output.notice(failure.what());
        }
    }

    void reportPlan() {
        m_output.heading(m_action == Action::remove ? "Would be removed"
                                                    : "Would be installed or updated");
        for (Package package : m_engine->plan(m_action, m_names)) {
            if (package.architecture.empty()) {
                const PackageList known = packagesNamed(m_before, package.name);
                package.architecture = known.empty() ? "-" : known.front().architecture;
            }
            m_output.package(package.name, package.architecture, package.version);
        }
    }

    void report(const PackageList& after) {
        PackageList lines =
            m_action == Action::remove ? difference(m_before, after) : difference(after, m_before);
        if (m_action == Action::install) {
            for (const std::string& name : m_names) {
                const PackageList found = packagesNamed(after, name);
                lines.insert(lines.end(), found.begin(), found.end());
            }
            sortPackages(lines);
            lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
        }
        for (const Package& package : lines) {
            m_output.package(package.name, package.architecture, package.version);
        }
    }

    const Place& m_place;
    Action m_action;
    const std::vector<std::string>& m_names;
    const Options& m_options;
    const Output& m_output;
    std::unique_ptr<Engine> m_engine;
    PackageList m_before;
    bool m_pending = false;  ///< an earlier run's record of intent still counts
};

}  // namespace

void changePackages(const Place& place, Action action, const std::vector<std::string>& names,
                    const Options& options, const Output& output) {
    for (const std::string& name : names) {
        if (!qxnode::isKrPackageName(name)) {
            throw Failure("'" + name + "' cannot be a package's name");
        }
    }
    Change(place, action, names, options, output).run();
}

}  // namespace qxpkg
