// check: checks areas, several of them in processes of their own, and single index files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/escape.h"
#include "src/area/template_lookup.h"
#include "src/qxfsutil.h"
#include "tools/qxfsutil/cancel.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"
#include "tools/qxfsutil/progress.h"
#include "tools/qxfsutil/report.h"
#include "tools/qxfsutil/targets.h"

namespace qxfsutil {

namespace {

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
    // In a tree that is not a private area the record would be a file of the container.
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

/// True after the end of standard input or a signal: then there are no more answers.
bool inputEnded() {
    return std::feof(stdin) != 0 || std::ferror(stdin) != 0;
}

/// Asks on the terminal. The end of input means no.
qxfs::Disposal askFor(const qxfs::Finding& finding) {
    const auto& kind = qxfs::kindOf(finding.code);
    if (inputEnded()) {
        return qxfs::Disposal::leave;
    }
    const auto question = base::printable(qxfs::describe(finding)) + "\n  " + kind.repair + " ";
    if (kind.question == qxfs::Question::approve) {
        const int answer = ask_approve(question.c_str(), QXFS_ANSWER_NO);
        return answer == QXFS_ANSWER_YES && !inputEnded() ? qxfs::Disposal::repair
                                                          : qxfs::Disposal::leave;
    }
    const int answer = ask_proc(question.c_str(), QXFS_ANSWER_IGNORE);
    switch (inputEnded() ? QXFS_ANSWER_IGNORE : answer) {
        case QXFS_ANSWER_MOVE:
            return qxfs::Disposal::moveAside;
        case QXFS_ANSWER_REMOVE:
            return qxfs::Disposal::remove;
        default:
            return qxfs::Disposal::leave;
    }
}

int checkHeldArea(const Options& options, const qxfs::Area& area) {
    qxfs::UndoRecord undo;
    std::string error;
    if (!openUndo(options, area, undo, error)) {
        return reportFailure(options, "check", error);
    }
    Progress progress(options, area);
    qxfs::RepairPolicy policy(options.mode);
    policy.ask = askFor;
    policy.setAttributes = options.setAttributes;
    policy.dropMissing = options.dropMissing;
    const Cancellable meanwhile;
    qxfs::CheckSummary summary;
    bool stopped = false;
    try {
        summary = qxfs::checkArea(
            area, policy, undo,
            [&](const qxfs::Finding& finding) {
                progress.clear();
                showFinding(options, area.name, finding);
            },
            [&](const qxfs::CheckSummary& sofar) {
                progress.show(sofar);
                if (cancelled()) {
                    summary = sofar;
                    throw Cancelled();
                }
            });
    } catch (const Cancelled&) {
        stopped = true;
        summary.undoRecord = undo.isOpen() && undo.hasSteps() ? undo.file() : "";
    }
    progress.clear();
    if (undo.isOpen() && !undo.hasSteps()) {
        unlink(undo.file().c_str());
    }
    for (const auto& failure : summary.failures) {
        reportFailure(options, area.name, failure);
    }
    if (stopped) {
        reportNote(options, area.name, "cancelled; the rest was not looked at");
    }
    return showSummary(options, summary) | (stopped ? kExitCancelled : kExitClean);
}

int checkTarget(const Options& options, const Target& target) {
    using Mode = qxnode::FileLock::Mode;
    HeldArea held;
    const bool changes = options.mode != qxfs::RepairMode::report;
    const int failed = holdArea(options, target, changes ? Mode::exclusive : Mode::shared, held);
    return failed != kExitClean ? failed : checkHeldArea(options, held.area);
}

/// Checks a single index file: structure and checksum, and lost links if a root is given.
std::vector<qxfs::Finding> findingsOf(const dirindex::IndexFile& index, const Options& options,
                                      const std::string& path, std::vector<std::string>& failures) {
    using qxfs::FindingCode;
    std::vector<qxfs::Finding> findings;
    const auto add = [&](FindingCode code, const std::string& detail, std::string link = {}) {
        findings.push_back({code, path, std::move(link), detail, false});
    };
    if (!index.sound) {
        add(FindingCode::indexDamaged, index.reason);
    } else if (index.checksum != dirindex::ChecksumState::good) {
        add(index.checksum == dirindex::ChecksumState::absent ? FindingCode::checksumAbsent
                                                              : FindingCode::checksumWrong,
            "");
    }
    if (index.sound && index.checksum != dirindex::ChecksumState::wrong &&
        !index.unkeptPromise.empty()) {
        add(FindingCode::indexTableWrong, index.unkeptPromise);
    }
    qxfs::Area area;
    area.templateRoot = options.linkRoot;
    for (const auto& entry : index.entries) {
        if (!entry.link.has_value()) {
            continue;
        }
        const auto link = *entry.link + "/" + entry.name;
        if (qxfs::leadsOut(link)) {
            add(FindingCode::linkOutside, dirindex::escaped(link));
        } else if (area.looksAtTemplates()) {
            const auto state = qxfs::lookUpTemplate(area, link);
            if (state.failure != 0) {
                failures.push_back("can't look at '" + area.templateFile(link) +
                                   "': " + std::strerror(state.failure));
            } else if (!state.exists) {
                add(FindingCode::linkLost, "", area.templateFile(link));
            }
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
    for (const auto& finding : findingsOf(index, options, path, summary.failures)) {
        ++summary.findings;
        ++(qxfs::kindOf(finding.code).severity == qxfs::Severity::note ? summary.notesLeft
                                                                       : summary.errorsLeft);
        showFinding(options, path, finding);
    }
    for (const auto& failure : summary.failures) {
        reportFailure(options, path, failure);
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

/// Checks the areas, each in a process of its own unless the check asks questions: the output of
/// such a process is printed only after its end.
int checkTargets(const Options& options, const std::vector<Target>& targets) {
    if (options.mode != qxfs::RepairMode::ask) {
        return runOnTargets(options, targets,
                            [&](const Target& target) { return checkTarget(options, target); });
    }
    int exitCode = kExitClean;
    for (auto target = targets.begin(); target != targets.end() && !cancelled(); ++target) {
        exitCode |= checkTarget(options, *target);
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
        exitCode |= checkIndexFile(options, file);
    }
    std::vector<Target> targets;
    exitCode |= collectTargets(areasOnly, targets);
    if (targets.size() > 1 && !options.undoFile.empty()) {
        reportFailure(options, "check", "one undo record is for one area; name one area");
        return kExitUsage;
    }
    return exitCode | checkTargets(options, targets);
}

}  // namespace qxfsutil
