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

#include "src/qxfsutil.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/lost_files.h"
#include "tools/qxfsutil/processes.h"
#include "tools/qxfsutil/report.h"
#include "tools/qxfsutil/undo.h"
#include "tools/qxfsutil/usage.h"

namespace qxfsutil {

namespace {

int indexOneArea(const Options& options, const Area& area) {
    int exitCode = kExitClean;
    const IndexOptions indexOptions{options.convertSymlinks, options.dryRun};
    indexArea(area, indexOptions, [&](const IndexOutcome& outcome) {
        const bool quietly = options.quiet && outcome.reasons.empty();
        if (options.json) {
            std::fputs(indexedAsJson(area.name, outcome).c_str(), stdout);
        } else if (!quietly) {
            std::fputs(indexedAsText(area.name, outcome).c_str(), stdout);
        }
        if (outcome.result == IndexResult::failed) {
            exitCode = kExitOperational;
        } else if (outcome.result == IndexResult::faulty) {
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
bool openOne(const Options& options, Area& area) {
    std::string error;
    if (openArea(options.area, options.templateRoot, area, error)) {
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

bool openAreas(const Options& options, std::vector<Area>& areas) {
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
        Area area;
        std::string error;
        if (!openArea(path, options.templateRoot, area, error)) {
            reportFailure(options, path, error);
            return false;
        }
        areas.push_back(std::move(area));
    }
    return true;
}

int runIndex(const Options& options) {
    std::vector<Area> areas;
    if (!openAreas(options, areas)) {
        return kExitOperational;
    }
    return runProcesses(areas.size(), options.jobs,
                        [&](std::size_t place) { return indexOneArea(options, areas[place]); });
}

int runUndo(const Options& options) {
    RecordedChanges changes;
    std::string error;
    if (!readRecord(options.undoFile, changes, error) || !undoChanges(changes, error)) {
        return reportFailure(options, "undo", error);
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
    Area area;
    if (!openOne(withoutTemplates, area)) {
        return kExitOperational;
    }
    for (const auto& name : options.names) {
        std::string error;
        if (!restoreLost(area, name, error)) {
            return reportFailure(options, "restore", error);
        }
    }
    return kExitClean;
}

int runList(const Options& options) {
    Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    const auto paths = options.names.empty() ? std::vector<std::string>{"/"} : options.names;
    for (const auto& path : paths) {
        std::vector<SeenEntry> entries;
        std::string error;
        if (!listSeen(area, path, entries, error)) {
            return reportFailure(options, "ls", error);
        }
        for (const auto& entry : entries) {
            std::fputs((options.json ? seenAsJson(entry) : seenAsText(entry)).c_str(), stdout);
        }
    }
    return kExitClean;
}

int runCat(const Options& options) {
    Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    for (const auto& path : options.names) {
        Resolved resolved;
        std::string error;
        if (!resolve(area, path, resolved, error)) {
            return reportFailure(options, "cat", error);
        }
        if (!S_ISREG(resolved.info.st_mode)) {
            return reportFailure(options, "cat", "'" + path + "' is no regular file");
        }
        const auto file = openResolved(area, resolved);
        if (!file.valid() || !copyToOutput(file.get())) {
            return reportFailure(options, "cat",
                                 "can't read '" + resolved.file + "': " + std::strerror(errno));
        }
    }
    return kExitClean;
}

int runClone(const Options& options) {
    Area area;
    if (!openOne(options, area)) {
        return kExitOperational;
    }
    if (options.oldId.size() != options.newId.size() || options.oldId.empty()) {
        reportFailure(options, "clone", "both identifiers must have the same length");
        return kExitUsage;
    }
    std::uint64_t changed = 0;
    const auto failures = cloneArea(area, options.oldId, options.newId, changed);
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
    std::vector<Area> areas;
    if (!openAreas(options, areas)) {
        return kExitOperational;
    }
    std::set<std::string> files;
    int exitCode = kExitClean;
    for (const auto& area : areas) {
        for (const auto& failure : collectUsed(area, files)) {
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
