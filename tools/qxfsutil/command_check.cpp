// check: areas, each in a process of its own when several are given, and single index files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "src/qxfsutil.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"
#include "tools/qxfsutil/processes.h"
#include "tools/qxfsutil/report.h"

namespace qxfsutil {

namespace {

/// Shows on a terminal how far a check has come, on one line that the next result replaces.
class Progress {
public:
    explicit Progress(bool wanted) : m_wanted(wanted && isatty(STDERR_FILENO) == 1) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    void show(const qxfs::CheckSummary& summary) {
        constexpr std::uint64_t kStride = 64;
        if (!m_wanted || summary.directories % kStride != 0) {
            return;
        }
        std::fprintf(stderr, "\r%s: %llu directories, %llu findings", summary.area.c_str(),
                     static_cast<unsigned long long>(summary.directories),
                     static_cast<unsigned long long>(summary.findings));
        m_shown = true;
    }

    void clear() {
        if (m_shown) {
            std::fputs("\r\033[K", stderr);
            m_shown = false;
        }
    }

private:
    bool m_wanted;
    bool m_shown = false;
};

void showFinding(const Options& options, const std::string& area, const qxfs::Finding& finding) {
    const auto text = options.json ? findingAsJson(area, finding) : findingAsText(area, finding);
    std::fputs(text.c_str(), stdout);
}

int showSummary(const Options& options, const qxfs::CheckSummary& summary) {
    if (options.json) {
        std::fputs(summaryAsJson(summary).c_str(), stdout);
    } else if (!options.quiet) {
        std::fputs(summaryAsText(summary).c_str(), stdout);
    }
    return exitCodeOf(summary);
}

std::string defaultUndoFile(const qxfs::Area& area) {
    char stamp[32];
    const auto now = std::time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%S", &local);
    // In a tree that is no private area the record would be a file of the container.
    const char* place = area.isPrivate() ? "/undo-" : ".undo-";
    return area.privateDir + place + stamp + "-" + std::to_string(getpid()) + ".qxundo";
}

bool openUndo(const Options& options, const qxfs::Area& area, qxfs::UndoRecord& undo,
              std::string& error) {
    if (options.mode == qxfs::RepairMode::report || options.noUndo) {
        return true;
    }
    return undo.open(options.undoFile.empty() ? defaultUndoFile(area) : options.undoFile,
                     area.privateDir, error);
}

/// Asks on the terminal. The end of input means that nothing is to be done.
qxfs::Disposal askFor(const qxfs::Finding& finding) {
    const auto& kind = qxfs::kindOf(finding.code);
    const auto question = qxfs::describe(finding) + "\n  " + kind.repair + " ";
    if (kind.question == qxfs::Question::approve) {
        const int answer = ask_approve(question.c_str(), QXFS_ANSWER_NO);
        return answer == QXFS_ANSWER_YES ? qxfs::Disposal::repair : qxfs::Disposal::leave;
    }
    switch (ask_proc(question.c_str(), QXFS_ANSWER_IGNORE)) {
        case QXFS_ANSWER_MOVE:
            return qxfs::Disposal::moveAside;
        case QXFS_ANSWER_REMOVE:
            return qxfs::Disposal::remove;
        default:
            return qxfs::Disposal::leave;
    }
}

int checkOneArea(const Options& options, const qxfs::Area& area) {
    qxfs::UndoRecord undo;
    std::string error;
    if (!openUndo(options, area, undo, error)) {
        return reportFailure(options, "check", error);
    }
    Progress progress(!options.quiet && options.mode != qxfs::RepairMode::ask);
    qxfs::RepairPolicy policy(options.mode);
    policy.ask = askFor;
    const auto summary = qxfs::checkArea(
        area, policy, undo,
        [&](const qxfs::Finding& finding) {
            progress.clear();
            showFinding(options, area.name, finding);
        },
        [&](const qxfs::CheckSummary& sofar) { progress.show(sofar); });
    progress.clear();
    if (undo.isOpen() && !undo.hasSteps()) {
        unlink(undo.file().c_str());
    }
    for (const auto& failure : summary.failures) {
        reportFailure(options, area.name, failure);
    }
    return showSummary(options, summary);
}

/// An index file by itself: structure and checksum, and lost links when a root is given.
std::vector<qxfs::Finding> findingsOf(const dirindex::IndexFile& index, const Options& options,
                                      const std::string& path) {
    std::vector<qxfs::Finding> findings;
    const auto add = [&](qxfs::FindingCode code, const std::string& templateFile = {}) {
        findings.push_back({code, path, templateFile, index.reason, false});
    };
    if (!index.sound) {
        add(qxfs::FindingCode::indexDamaged);
    } else if (index.checksum != dirindex::ChecksumState::good) {
        add(index.checksum == dirindex::ChecksumState::absent ? qxfs::FindingCode::checksumAbsent
                                                              : qxfs::FindingCode::checksumWrong);
    }
    qxfs::Area area;
    area.templateRoot = options.linkRoot;
    for (const auto& entry : index.entries) {
        const auto link = entry.link.has_value() ? *entry.link + "/" + entry.name : "";
        if (area.looksAtTemplates() && !link.empty() && !qxfs::lookUpTemplate(area, link).exists) {
            add(qxfs::FindingCode::linkLost, area.templateFile(link));
        }
    }
    return findings;
}

int checkIndexFile(const Options& options, const std::string& path) {
    const auto index = dirindex::readIndexFile(AT_FDCWD, path);
    if (!index.readable) {
        return reportFailure(options, path, index.reason);
    }
    qxfs::CheckSummary summary;
    summary.area = path;
    summary.indexed = 1;
    summary.entries = index.entries.size();
    for (const auto& finding : findingsOf(index, options, path)) {
        ++summary.findings;
        ++(qxfs::kindOf(finding.code).severity == qxfs::Severity::note ? summary.notesLeft
                                                                       : summary.errorsLeft);
        showFinding(options, path, finding);
    }
    return showSummary(options, summary);
}

enum class Named { nothing, directory, file };

Named whatIs(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        return Named::nothing;
    }
    return S_ISDIR(info.st_mode) ? Named::directory : Named::file;
}

/// Checks the areas, each in a process of its own unless something is to be asked: what such a
/// process prints is held back until it ends, and its questions would be, too.
int checkAreas(const Options& options, const std::vector<qxfs::Area>& areas) {
    if (options.mode != qxfs::RepairMode::ask) {
        return runProcesses(areas.size(), options.jobs,
                            [&](std::size_t place) { return checkOneArea(options, areas[place]); });
    }
    int exitCode = kExitClean;
    for (const auto& area : areas) {
        exitCode = std::max(exitCode, checkOneArea(options, area));
    }
    return exitCode;
}

}  // namespace

int runCheck(const Options& options) {
    auto areasOnly = options;
    areasOnly.names.clear();
    std::vector<std::string> files;
    for (const auto& name : options.names) {
        const auto named = whatIs(name);
        if (named == Named::file && options.modeGiven && options.mode != qxfs::RepairMode::report) {
            reportFailure(options, name, "an index file is only checked; name its area to repair");
            return kExitUsage;
        }
        (named == Named::directory ? areasOnly.names : files).push_back(name);
    }
    int exitCode = kExitClean;
    for (const auto& file : files) {
        exitCode = std::max(exitCode, checkIndexFile(options, file));
    }
    std::vector<qxfs::Area> areas;
    if (!openAreas(areasOnly, areas)) {
        return kExitOperational;
    }
    if (areas.size() > 1 && !options.undoFile.empty()) {
        reportFailure(options, "check", "one undo record is for one area; name one area");
        return kExitUsage;
    }
    return std::max(exitCode, checkAreas(options, areas));
}

}  // namespace qxfsutil
