// dnf resolves and downloads, rpm does the work; see engine.h.
#include "node/qxpkg/engine/rpm/engine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/kr/rpm/packaging.h"
#include "node/qxpkg/engine/repository_state.h"
#include "node/qxpkg/engine/rpm/configuration.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

void append(std::vector<std::string>& words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
}

std::string nevra(const Package& package) {
    return package.name + "-" + package.version + "." + package.architecture;
}

}  // namespace

EngineKind rpmEngineKind() {
    return {&qxnode::kRpmPackaging,
            [](const Place& place, const Options& options,
               const Output& output) -> std::unique_ptr<Engine> {
                return std::make_unique<RpmEngine>(place, options, output);
            },
            {"dnf"},
            [](const std::string& fileName) -> std::string {
                constexpr std::string_view ending = ".rpm";
                return fileName.ends_with(ending)
                           ? rpmNameOf(fileName.substr(0, fileName.size() - ending.size()))
                           : "";
            },
            dnfRepositories,
            nullptr};
}

RpmEngine::RpmEngine(const Place& place, const Options& options, const Output& output)
    : m_place(place),
      m_options(options),
      m_output(output),
      m_databaseDir(folderInRoot(place, "/var/lib/rpm")) {
    prepareStore(place, rpmConfiguration(place, m_databaseDir), {"dnf", "log"});
}

EngineRun RpmEngine::sandbox(bool network) const {
    Confinement confinement = confinementOf(m_place, network);
    confinement.environment = {"HOME=" + std::string(inside::kConfiguration) + "/home"};
    return {confinement, m_output, RpmNoise()};
}

std::vector<std::string> RpmEngine::rpm(const std::vector<std::string>& words) const {
    std::vector<std::string> argv = {"rpm", "--root", inside::kRoot, "--dbpath", m_databaseDir};
    append(argv, words);
    return argv;
}

std::vector<std::string> RpmEngine::dnf(const std::vector<std::string>& options, Action action,
                                        const std::vector<std::string>& names) const {
    std::vector<std::string> argv = dnfCommand(m_place);
    append(argv, options);
    if (m_options.cacheOnly) {
        argv.emplace_back("--cacheonly");
    }
    if (m_options.force) {
        argv.emplace_back("--allowerasing");
    }
    if (m_refresh) {
        argv.emplace_back("--refresh");
    }
    argv.emplace_back(action == Action::install  ? "install"
                      : action == Action::update ? "upgrade"
                                                 : "remove");
    append(argv, names);
    return argv;
}

PackageList RpmEngine::installed() {
    PackageList packages;
    for (const qxnode::Package& found : databaseOf(m_place)) {
        packages.push_back({found.name, found.architecture, found.version});
    }
    sortPackages(packages);
    return packages;
}

void RpmEngine::repair(const PackageList& now, const PackageList* atStart) {
    if (atStart == nullptr) {
        return;
    }
    // An interrupted update leaves both the old and the new package in the database; remove the old
    // one.
    PackageList old;
    for (const Package& package : *atStart) {
        const auto replaced = [&](const Package& other) {
            return other.name == package.name && other.architecture == package.architecture;
        };
        if (std::binary_search(now.begin(), now.end(), package, packageBefore) &&
            std::count_if(now.begin(), now.end(), replaced) >
                std::count_if(atStart->begin(), atStart->end(), replaced)) {
            old.push_back(package);
        }
    }
    if (old.empty()) {
        return;
    }
    std::vector<std::string> words = {"-e", "--noscripts", "--nodeps"};
    for (const Package& package : old) {
        words.push_back(nevra(package));
    }
    m_output.notice("an earlier change of the packages was not finished; finishing it");
    const EngineResult result = sandbox(false).run(rpm(words));
    if (!result.succeeded()) {
        m_output.notice("cannot remove the replaced " + enumeration(old) + ": " +
                        lastWords(result));
    }
}

void RpmEngine::run(const std::vector<std::string>& argv, bool network, const std::string& what) {
    RpmReport report;
    const EngineResult result =
        sandbox(network).run(argv, [&](const std::string& line) { report.line(line); });
    m_scriptFailures = report.failedPackages();
    if (!result.succeeded() || report.scriptFailed()) {
        const std::string reason = report.reason();
        failWith(result, what + (reason.empty() ? "" : ": " + reason), m_output);
    }
}

void RpmEngine::refresh() {
    m_refresh = !m_options.cacheOnly && (m_options.force || !listsAreFresh(m_place));
    if (m_refresh) {
        forgetFreshLists(m_place);
    }
}

void RpmEngine::repositoriesAnswered() {
    if (m_refresh) {
        rememberFreshLists(m_place);
        m_refresh = false;
    }
}

void RpmEngine::runDnf(const std::vector<std::string>& argv, bool network,
                       const std::string& what) {
    struct Sweep {
        const RpmEngine& engine;
        ~Sweep() { engine.removeDebris(); }
    } sweep{*this};
    run(argv, network, what);
    repositoriesAnswered();
}

/// dnf also makes the paths of its cache and logs below the root.
void RpmEngine::removeDebris() const {
    const base::Fd root(open(m_place.root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const base::Fd parent = base::openInRoot(root.get(), "/var/cache", O_RDONLY | O_DIRECTORY);
    if (parent) {
        base::removeTree(parent.get(), "qxpkg");
    }
}

PackageList RpmEngine::planByTable(Action action, const std::vector<std::string>& names) {
    const bool network = m_place.repositoriesNeedNetwork() && !m_options.cacheOnly;
    const EngineResult answer = sandbox(network).query(dnf({"--assumeno"}, action, names));
    removeDebris();
    RpmReport report;
    DnfPlan table;
    for (const std::string& line : answer.lines) {
        table.line(line);
    }
    for (const std::string& line : answer.tail) {
        report.line(line);
    }
    // dnf exits with 1 if its plan is not confirmed, as after a failure.
    if (!answer.succeeded() && table.packages().empty()) {
        failWith(answer, attemptText(action, names) + ": " + report.reason(), m_output);
    }
    repositoriesAnswered();
    return table.packages();
}

PackageList RpmEngine::planOfRemoval(const std::vector<std::string>& names) {
    std::vector<std::string> words = {"-e", "--test"};
    append(words, names);
    const EngineResult answer = sandbox(false).query(rpm(words));
    if (!answer.succeeded()) {
        return planByTable(Action::remove, names);
    }
    return packagesNamed(installed(), names);
}

PackageList RpmEngine::plan(Action action, const std::vector<std::string>& names) {
    return action == Action::remove ? planOfRemoval(names) : planByTable(action, names);
}

void RpmEngine::perform(Action action, const std::vector<std::string>& names) {
    const std::string what = attemptText(action, names);
    if (action == Action::remove && !m_options.withDependents) {
        std::vector<std::string> words = {"-e"};
        if (m_options.force) {
            words.emplace_back("--nodeps");
        }
        append(words, names);
        run(rpm(words), m_place.scriptNetwork, what);
        return;
    }
    std::vector<std::string> options;
    if (m_place.repositoriesNeedNetwork() && !m_options.cacheOnly && action != Action::remove) {
        // Download in a separate run: it may use the network, the packages' scripts may not.
        runDnf(dnf({"--downloadonly"}, action, names), true, what);
        options = {"--cacheonly"};
    }
    runDnf(dnf(options, action, names), m_place.scriptNetwork, what);
}

void RpmEngine::takeBack(const PackageList& fresh) {
    std::vector<std::string> words = {"-e", "--noscripts"};
    PackageList failed;
    for (const Package& package : fresh) {
        if (m_scriptFailures.contains(package.name)) {
            failed.push_back(package);
            words.push_back(nevra(package));
        }
    }
    if (failed.empty()) {
        return;
    }
    const EngineResult result = sandbox(false).run(rpm(words));
    m_output.notice(result.succeeded()
                        ? "taken back: " + enumeration(failed)
                        : "cannot take back " + enumeration(failed) + ": " + lastWords(result));
}

void RpmEngine::download(const std::vector<std::string>& names) {
    runDnf(dnf({"--downloadonly"}, Action::install, names), m_place.repositoriesNeedNetwork(),
           "cannot fetch " + enumeration(names));
}

}  // namespace qxpkg
