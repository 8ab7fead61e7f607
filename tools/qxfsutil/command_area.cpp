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

#include "src/area/lost_files.h"
#include "src/area/undo.h"
#include "src/area/usage.h"
#include "src/qxfsutil.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"
#include "tools/qxfsutil/processes.h"
#include "tools/qxfsutil/report.h"

namespace qxfsutil {

namespace {

int indexOneArea(const Options& options, const qxfs::Area& area) {
    int exitCode = kExitClean;
    const qxfs::IndexOptions indexOptions{options.convertSymlinks, options.dryRun};
    qxfs::indexArea(area, indexOptions, [&](const qxfs::IndexOutcome& outcome) {
        const bool quietly = options.quiet && outcome.reasons.empty();
        if (options.json) {
            std::fputs(indexedAsJson(area.name, outcome).c_str(), stdout);
        } else if (!quietly) {
            std::fputs(indexedAsText(area.name, outcome).c_str(), stdout);
        }
        if (outcome.result == qxfs::IndexResult::failed) {
            exitCode = kExitOperational;
        } else if (outcome.result == qxfs::IndexResult::faulty) {
            exitCode = std::max<int>(exitCode, kExitErrorsLeft);
        }
    });
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

/// The private area of a container. The library ends the process when it cannot tell, with an exit
/// code that means something else here.
/// @return false with the reason in `path`.
bool privateAreaOf(int container, std::string& path) {
    const bool known = textFromChild(
        [container] {
            const std::unique_ptr<char, decltype(&std::free)> found(read_ve_private(container),
                                                                    &std::free);
            return std::string(found.get());
        },
        path);
    constexpr std::string_view kMark = "Error: ";
    if (!known && path.starts_with(kMark)) {
        path.erase(0, kMark.size());
    }
    return known;
}

/// The one area of commands that take it as their first word.
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
        std::fprintf(stderr, "qxfsutil: %s: %s\n", what.c_str(), message.c_str());
    }
    return kExitOperational;
}

bool openAreas(const Options& options, std::vector<qxfs::Area>& areas) {
    auto paths = options.names;
    for (const int container : options.containers) {
        std::string path;
        if (!privateAreaOf(container, path)) {
            reportFailure(options, "container " + std::to_string(container), path);
            return false;
        }
        paths.push_back(std::move(path));
    }
    for (const auto& path : paths) {
        qxfs::Area area;
        std::string error;
        if (!qxfs::openArea(path, options.templateRoot, area, error)) {
            reportFailure(options, path, error);
            return false;
        }
        areas.push_back(std::move(area));
    }
    return true;
}

int runIndex(const Options& options) {
    std::vector<qxfs::Area> areas;
    if (!openAreas(options, areas)) {
        return kExitOperational;
    }
    return runProcesses(areas.size(), options.jobs,
                        [&](std::size_t place) { return indexOneArea(options, areas[place]); });
}

int runUndo(const Options& options) {
    qxfs::RecordedChanges changes;
    std::string error;
    if (!qxfs::readRecord(options.undoFile, changes, error)) {
        return reportFailure(options, "undo", error);
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
        std::printf("%zu changes undone in %s\n", changes.steps.size(), changes.area.c_str());
    }
    return kExitClean;
}

int runRestore(const Options& options) {
    // What was moved aside comes back whether or not there are templates.
    auto withoutTemplates = options;
    withoutTemplates.templateRoot.clear();
    qxfs::Area area;
    if (!openOne(withoutTemplates, area)) {
        return kExitOperational;
    }
    for (const auto& name : options.names) {
        std::string error;
        if (!qxfs::restoreLost(area, name, error)) {
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
            return reportFailure(options, "cat", "'" + path + "' is no regular file");
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
    qxfs::Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    if (options.oldId.size() != options.newId.size() || options.oldId.empty()) {
        reportFailure(options, "clone", "both identifiers must have the same length");
        return kExitUsage;
    }
    std::uint64_t changed = 0;
    const auto failures = qxfs::cloneArea(area, options.oldId, options.newId, changed);
    for (const auto& failure : failures) {
        reportFailure(options, "clone", failure);
    }
    if (options.json) {
        std::fputs(clonedAsJson(area.name, changed).c_str(), stdout);
    } else if (!options.quiet) {
        std::printf("%s: %llu links and indexes changed\n", area.name.c_str(),
                    static_cast<unsigned long long>(changed));
    }
    return failures.empty() ? kExitClean : kExitOperational;
}

int runUsed(const Options& options, bool missingOnly) {
    std::vector<qxfs::Area> areas;
    if (!openAreas(options, areas)) {
        return kExitOperational;
    }
    std::set<std::string> files;
    int exitCode = kExitClean;
    for (const auto& area : areas) {
        for (const auto& failure : qxfs::collectUsed(area, files)) {
            exitCode = reportFailure(options, area.name, failure);
        }
    }
    for (const auto& file : files) {
        struct stat info {};
        if (missingOnly && lstat(file.c_str(), &info) == 0) {
            continue;
        }
        if (missingOnly && exitCode == kExitClean) {
            exitCode = kExitErrorsLeft;
        }
        std::fputs((options.json ? templateAsJson(file) : file + '\n').c_str(), stdout);
    }
    return exitCode;
}

}  // namespace qxfsutil
