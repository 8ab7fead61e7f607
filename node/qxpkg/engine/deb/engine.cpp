// apt resolves and downloads, dpkg does the work; see engine.h.
#include "node/qxpkg/engine/deb/engine.h"

#include <fcntl.h>

#include <filesystem>
#include <sstream>

#include "base/fd.h"
#include "base/open_below.h"
#include "base/system_error.h"
#include "node/kr/deb/packaging.h"
#include "node/qxpkg/engine/deb/configuration.h"
#include "node/qxpkg/engine/deb/report.h"
#include "node/qxpkg/engine/repository_state.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

/// Makes an empty database, because apt does not work without one.
void requireStatusFile(const Place& place, const std::string& adminDir) {
    const base::Fd root(open(place.root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!root || !base::openInRoot(root.get(), adminDir + "/status",
                                   O_RDONLY | O_CREAT | O_NONBLOCK, 0644)) {
        throw Failure(base::systemError("open the container's", adminDir + "/status"));
    }
}

/// Removes broken packages that the interrupted run installed; installs the others again.
bool isKnownAt(const PackageList* atStart, const Package& package) {
    return atStart == nullptr || !packagesNamed(*atStart, package.name).empty();
}

/// True if an interrupted run left changes in "updates"; dpkg's next run takes them over.
bool hasJournal(const Place& place, const std::string& adminDir) {
    const base::Fd root(open(place.root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const base::Fd folder =
        base::openInRoot(root.get(), adminDir + "/updates", O_RDONLY | O_DIRECTORY);
    std::error_code unreadable;
    return folder &&
           !std::filesystem::is_empty("/proc/self/fd/" + std::to_string(folder.get()), unreadable);
}

void append(std::vector<std::string>& words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
}

}  // namespace

bool readDpkgState(const std::string& state, Package& package) {
    // The second letter is the state: n means not installed, c only its configuration.
    if (state.size() < 2 || state[1] == 'n' || state[1] == 'c') {
        return false;
    }
    const bool reinstallRequired = state.size() > 2 && state[2] == 'R';
    package.complete = state[1] == 'i' && !reinstallRequired;
    package.removing = state[0] == 'r' || state[0] == 'p';
    package.broken = !package.removing && (state[1] == 'H' || reinstallRequired);
    return true;
}

bool isHalfPurged(const std::string& state) {
    return state.size() > 2 && state[1] == 'c' && state[2] == 'R';
}

bool parseAptPlanLine(const std::string& line, Package& package) {
    std::istringstream words(line);
    std::string kind;
    std::string word;
    if (!(words >> kind >> package.name >> word) || (kind != "Inst" && kind != "Remv")) {
        return false;
    }
    package.complete = true;
    package.architecture.clear();
    if (kind == "Remv") {
        // "Remv NAME [VERSION]"
        package.version = word.size() > 2 ? word.substr(1, word.size() - 2) : "";
        return true;
    }
    // "Inst NAME [OLD] (VERSION ORIGIN [ARCHITECTURE])"
    if (word.starts_with('[') && !(words >> word)) {
        return false;
    }
    package.version = word.substr(word.starts_with('(') ? 1 : 0);
    const std::size_t begin = line.rfind('[');
    const std::size_t end = line.find(']', begin == std::string::npos ? 0 : begin);
    if (begin != std::string::npos && end != std::string::npos) {
        package.architecture = line.substr(begin + 1, end - begin - 1);
    }
    return true;
}

EngineKind debEngineKind() {
    return {&qxnode::kDebPackaging,
            [](const Place& place, const Options& options,
               const Output& output) -> std::unique_ptr<Engine> {
                return std::make_unique<DebEngine>(place, options, output);
            },
            {"archives", "lists"},
            [](const std::string& fileName) {
                return fileName.ends_with(".deb") ? fileName.substr(0, fileName.find('_')) : "";
            },
            aptSources,
            bootstrapDeb};
}

DebEngine::DebEngine(const Place& place, const Options& options, const Output& output)
    : m_place(place),
      m_options(options),
      m_output(output),
      m_adminDir(folderInRoot(place, kDpkgDatabase)) {
    requireStatusFile(place, m_adminDir);
    prepareStore(place, debConfiguration(place, m_adminDir),
                 {"lists/partial", "archives/partial", "log"});
}

EngineRun DebEngine::sandbox(bool network) const {
    Confinement confinement = confinementOf(m_place, network);
    confinement.environment = {"APT_CONFIG=" + std::string(inside::kConfiguration) + "/apt.conf",
                               "DEBIAN_FRONTEND=noninteractive"};
    return {confinement, m_output};
}

std::vector<std::string> DebEngine::dpkg(const std::vector<std::string>& words) const {
    std::vector<std::string> argv = {"dpkg"};
    append(argv, dpkgRootOptions(m_adminDir));
    append(argv, words);
    return argv;
}

PackageList DebEngine::installed() {
    m_halfPurged.clear();
    PackageList packages;
    for (const qxnode::Package& found : databaseOf(m_place, true)) {
        Package package{found.name, found.architecture, found.version};
        if (readDpkgState(found.state, package)) {
            packages.push_back(package);
        } else if (isHalfPurged(found.state)) {
            m_halfPurged.push_back(found.name);
        }
    }
    sortPackages(packages);
    return packages;
}

void DebEngine::repair(const PackageList& now, const PackageList* atStart) {
    // dpkg's database says what is unfinished, also after runs that were not ours.
    bool needed = atStart != nullptr || !m_halfPurged.empty();
    for (const Package& package : now) {
        needed = needed || !package.complete;
    }
    if (!needed && !hasJournal(m_place, m_adminDir)) {
        return;
    }
    m_output.notice("an earlier change of the packages was not finished; finishing it");
    tryTo(dpkg({"--force-confold", "--force-confdef", "--configure", "--pending"}));

    std::vector<std::string> leaving = {"--force-remove-reinstreq", "--remove"};
    std::vector<std::string> broken;
    for (const Package& package : installed()) {
        if (package.removing && !package.complete) {
            leaving.push_back(package.name);
        } else if (package.broken && isKnownAt(atStart, package)) {
            broken.push_back(package.name);
        }
    }
    if (leaving.size() > 2) {
        tryTo(dpkg(leaving));
    }
    if (!m_halfPurged.empty()) {
        std::vector<std::string> words = {"--force-remove-reinstreq", "--purge"};
        append(words, m_halfPurged);
        tryTo(dpkg(words));
    }
    if (atStart != nullptr) {
        withdrawRemoval();
    }
    if (!broken.empty()) {
        refresh();
        tryTo(apt(Action::install, {"--reinstall"}, broken), m_place.repositoriesNeedNetwork());
    }
}

void DebEngine::withdrawRemoval() {
    std::string selections;
    for (const Package& package : installed()) {
        if (package.removing && package.complete) {
            selections += package.name + " install\n";
        }
    }
    if (selections.empty()) {
        return;
    }
    // dpkg reads selections only from its standard input.
    std::vector<std::string> words = {"sh", "-c", R"(printf %s "$1" | { shift; "$@"; })", "sh",
                                      selections};
    append(words, dpkg({"--set-selections"}));
    tryTo(words);
}

void DebEngine::tryTo(const std::vector<std::string>& argv, bool network) const {
    DebReport report;
    const EngineResult result =
        sandbox(network || m_place.scriptNetwork).run(argv, [&](const std::string& line) {
            report.line(line);
        });
    if (!result.succeeded()) {
        m_output.notice("not everything could be finished: " + report.reason());
    }
}

void DebEngine::refresh() {
    if (m_options.cacheOnly || m_place.repositories.empty() ||
        (!m_options.force && listsAreFresh(m_place))) {
        return;
    }
    forgetFreshLists(m_place);
    runApt({"apt-get", "update"}, m_place.repositoriesNeedNetwork(),
           "cannot read the repositories");
    rememberFreshLists(m_place);
}

std::vector<std::string> DebEngine::apt(Action action, const std::vector<std::string>& options,
                                        const std::vector<std::string>& names) const {
    std::vector<std::string> argv = {"apt-get"};
    append(argv, options);
    if (m_options.force) {
        append(argv, {"--allow-downgrades", "--allow-change-held-packages", "-o",
                      "DPkg::Options::=--force-overwrite"});
    }
    switch (action) {
        case Action::install:
            argv.emplace_back("install");
            if (m_options.force) {
                argv.emplace_back("--reinstall");
            }
            break;
        case Action::update:
            append(argv, names.empty() ? std::vector<std::string>{"upgrade", "--with-new-pkgs"}
                                       : std::vector<std::string>{"install", "--only-upgrade"});
            break;
        case Action::remove:
            argv.emplace_back("remove");
            break;
    }
    argv.emplace_back("--");
    append(argv, names);
    return argv;
}

void DebEngine::runApt(const std::vector<std::string>& argv, bool network,
                       const std::string& what) const {
    DebReport report;
    const EngineResult result =
        sandbox(network).run(argv, [&](const std::string& line) { report.line(line); });
    if (!result.succeeded()) {
        const std::string reason = report.reason();
        failWith(result, what + (reason.empty() ? "" : ": " + reason), m_output);
    }
}

/// dpkg alone can check whether other packages need them; apt would be slower.
bool DebEngine::isRemovable(const std::vector<std::string>& names) const {
    std::vector<std::string> words = {"--simulate", "--remove"};
    append(words, names);
    return sandbox(false).query(dpkg(words)).succeeded();
}

PackageList DebEngine::plan(Action action, const std::vector<std::string>& names) {
    if (action != Action::remove || !isRemovable(names)) {
        return planOf(action, names);
    }
    return packagesNamed(installed(), names);
}

PackageList DebEngine::planOf(Action action, const std::vector<std::string>& names) {
    const EngineResult answer = sandbox(false).query(apt(action, {"--simulate"}, names));
    if (!answer.succeeded()) {
        DebReport report;
        for (const std::string& line : answer.tail) {
            report.line(line);
        }
        failWith(answer, attemptText(action, names) + ": " + report.reason(), m_output);
    }
    PackageList packages;
    for (const std::string& line : answer.lines) {
        Package package;
        if (parseAptPlanLine(line, package)) {
            packages.push_back(package);
        }
    }
    return packages;
}

void DebEngine::perform(Action action, const std::vector<std::string>& names) {
    const std::string what = attemptText(action, names);
    if (action == Action::remove && !m_options.withDependents) {
        std::vector<std::string> words = {"--remove"};
        if (m_options.force) {
            words.insert(words.begin(), "--force-depends");
        }
        append(words, names);
        runApt(dpkg(words), m_place.scriptNetwork, what);
        return;
    }
    std::vector<std::string> options;
    if (m_options.cacheOnly) {
        options = {"--no-download"};
    } else if (m_place.repositoriesNeedNetwork() && action != Action::remove) {
        // Download in a separate run: it may use the network, the packages' scripts may not.
        runApt(apt(action, {"--download-only"}, names), true, what);
        options = {"--no-download"};
    }
    runApt(apt(action, options, names), m_place.scriptNetwork, what);
}

void DebEngine::takeBack(const PackageList& fresh) {
    PackageList packages;
    std::vector<std::string> words = {"--force-remove-reinstreq", "--purge"};
    for (const Package& package : fresh) {
        if (!package.complete) {
            packages.push_back(package);
            words.push_back(package.name);
        }
    }
    if (packages.empty()) {
        return;
    }
    DebReport report;
    const EngineResult result =
        sandbox(m_place.scriptNetwork).run(dpkg(words), [&](const std::string& line) {
            report.line(line);
        });
    m_output.notice(result.succeeded()
                        ? "taken back: " + enumeration(packages)
                        : "cannot take back " + enumeration(packages) + ": " + report.reason());
}

void DebEngine::download(const std::vector<std::string>& names) {
    runApt(apt(Action::install, {"--download-only"}, names), m_place.repositoriesNeedNetwork(),
           "cannot fetch " + enumeration(names));
}

}  // namespace qxpkg
