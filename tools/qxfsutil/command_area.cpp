// Commands on whole areas beside check: index, undo, restore, ls, cat, clone, used, missing.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/escape.h"
#include "src/area/lost_files.h"
#include "src/area/undo.h"
#include "src/area/usage.h"
#include "tools/qxfsutil/cancel.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"
#include "tools/qxfsutil/report.h"
#include "tools/qxfsutil/targets.h"

namespace qxfsutil {

namespace {

constexpr auto kShared = qxnode::FileLock::Mode::shared;
constexpr auto kExclusive = qxnode::FileLock::Mode::exclusive;

int indexOneArea(const Options& options, const Target& target) {
    HeldArea held;
    int exitCode = holdArea(options, target, options.dryRun ? kShared : kExclusive, held);
    if (exitCode != kExitClean) {
        return exitCode;
    }
    const Cancellable meanwhile;
    const qxfs::IndexOptions indexOptions{options.convertSymlinks, options.dryRun};
    const auto show = [&](const qxfs::IndexOutcome& outcome) {
        const bool quietly = options.quiet && outcome.reasons.empty();
        if (options.json) {
            std::fputs(indexedAsJson(held.area.name, outcome).c_str(), stdout);
        } else if (!quietly) {
            std::fputs(indexedAsText(held.area.name, outcome).c_str(), stdout);
        }
        if (outcome.result == qxfs::IndexResult::failed) {
            exitCode |= kExitOperational;
        } else if (outcome.result == qxfs::IndexResult::faulty) {
            exitCode |= kExitErrorsLeft;
        }
        if (cancelled()) {
            throw Cancelled();
        }
    };
    try {
        qxfs::indexArea(held.area, indexOptions, show);
    } catch (const Cancelled&) {
        reportNote(options, held.area.name, "cancelled; the rest was not looked at");
        exitCode |= kExitCancelled;
    }
    return exitCode;
}

/// @return false with errno.
bool copyToOutput(int file) {
    std::array<char, 65536> buffer;
    auto got = read(file, buffer.data(), buffer.size());
    while (got > 0 && std::fwrite(buffer.data(), 1, static_cast<std::size_t>(got), stdout) ==
                          static_cast<std::size_t>(got)) {
        got = read(file, buffer.data(), buffer.size());
    }
    return got == 0;
}

/// Opens the area of a command that only reads it.
bool openOne(const Options& options, qxfs::Area& area) {
    std::string error;
    if (qxfs::openArea(options.area, options.templateRoot, area, error)) {
        return true;
    }
    reportFailure(options, options.area, error);
    return false;
}

}  // namespace

int reportFailure(const Options& options, const std::string& what, const std::string& message) {
    std::fflush(stdout);
    if (options.json) {
        std::fputs(failureAsJson(what, message).c_str(), stderr);
    } else {
        std::fprintf(stderr, "%s\n", base::printable("qxfsutil: " + what + ": " + message).c_str());
    }
    return kExitOperational;
}

void reportNote(const Options& options, const std::string& what, const std::string& message) {
    std::fflush(stdout);
    std::fputs(options.json
                   ? noteAsJson(what, message).c_str()
                   : base::printable("qxfsutil: " + what + ": " + message).append("\n").c_str(),
               stderr);
}

int runIndex(const Options& options) {
    std::vector<Target> targets;
    const int exitCode = collectTargets(options, targets);
    return exitCode | runOnTargets(options, targets, [&](const Target& target) {
               return indexOneArea(options, target);
           });
}

int runUndo(const Options& options) {
    qxfs::RecordedChanges changes;
    std::string error;
    if (!qxfs::readRecord(options.undoFile, changes, error)) {
        return reportFailure(options, "undo", error);
    }
    qxnode::FileLock lock;
    if (const int failed = lockArea(options, targetAt(changes.area), kExclusive, lock)) {
        return failed;
    }
    const auto failures = qxfs::undoChanges(changes);
    for (const auto& failure : failures) {
        reportFailure(options, "undo", failure);
    }
    if (!failures.empty()) {
        return kExitOperational;
    }
    if (options.json) {
        std::fputs(undoneAsJson(changes.area, changes.steps.size()).c_str(), stdout);
    } else if (!options.quiet) {
        std::printf("%zu changes undone in %s\n", changes.steps.size(),
                    base::printable(changes.area).c_str());
    }
    return kExitClean;
}

int runRestore(const Options& options) {
    // Templates are not needed to move files back.
    auto withoutTemplates = options;
    withoutTemplates.templateRoot.clear();
    HeldArea held;
    if (const int failed = holdArea(withoutTemplates, targetAt(options.area), kExclusive, held)) {
        return failed;
    }
    for (const auto& name : options.names) {
        std::string error;
        if (!qxfs::restoreLost(held.area, name, error)) {
            return reportFailure(options, "restore", error);
        }
    }
    return kExitClean;
}

int runList(const Options& options) {
    qxfs::Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    const auto paths = options.names.empty() ? std::vector<std::string>{"/"} : options.names;
    for (const auto& path : paths) {
        std::vector<qxfs::SeenEntry> entries;
        std::string error;
        if (!qxfs::listSeen(area, path, entries, error)) {
            return reportFailure(options, "ls", error);
        }
        for (const auto& entry : entries) {
            std::fputs((options.json ? seenAsJson(entry) : seenAsText(entry)).c_str(), stdout);
        }
    }
    return kExitClean;
}

int runCat(const Options& options) {
    qxfs::Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    for (const auto& path : options.names) {
        qxfs::Resolved resolved;
        std::string error;
        if (!resolve(area, path, resolved, error)) {
            return reportFailure(options, "cat", error);
        }
        if (!S_ISREG(resolved.info.st_mode)) {
            return reportFailure(options, "cat", "'" + path + "' is not a regular file");
        }
        const auto file = qxfs::openResolved(area, resolved);
        if (!file || !copyToOutput(file.get())) {
            return reportFailure(options, "cat",
                                 "can't read '" + resolved.file + "': " + std::strerror(errno));
        }
    }
    return kExitClean;
}

int runClone(const Options& options) {
    if (options.oldId.size() != options.newId.size() || options.oldId.empty()) {
        reportFailure(options, "clone", "both identifiers must have the same length");
        return kExitUsage;
    }
    HeldArea held;
    if (const int failed = holdArea(options, targetAt(options.area), kExclusive, held)) {
        return failed;
    }
    const auto& area = held.area;
    std::uint64_t changed = 0;
    const auto failures = qxfs::cloneArea(area, options.oldId, options.newId, changed);
    for (const auto& failure : failures) {
        reportFailure(options, "clone", failure);
    }
    if (options.json) {
        std::fputs(clonedAsJson(area.name, changed).c_str(), stdout);
    } else if (!options.quiet) {
        std::printf("%s: %llu links and indexes changed\n", base::printable(area.name).c_str(),
                    static_cast<unsigned long long>(changed));
    }
    return failures.empty() ? kExitClean : kExitOperational;
}

int runUsed(const Options& options, bool missingOnly) {
    std::vector<Target> targets;
    int exitCode = collectTargets(options, targets);
    std::set<std::string> files;
    for (const auto& target : targets) {
        qxfs::Area area;
        std::string error;
        if (!qxfs::openArea(target.path, options.templateRoot, area, error)) {
            exitCode |= reportFailure(options, target.path, error);
            continue;
        }
        for (const auto& failure : qxfs::collectUsed(area, files)) {
            exitCode |= reportFailure(options, area.name, failure);
        }
    }
    for (const auto& file : files) {
        struct stat info {};
        if (missingOnly && lstat(file.c_str(), &info) == 0) {
            continue;
        }
        if (missingOnly) {
            exitCode |= kExitErrorsLeft;
        }
        std::fputs((options.json ? templateAsJson(file) : base::printable(file) + '\n').c_str(),
                   stdout);
    }
    return exitCode;
}

}  // namespace qxfsutil
