// The single steps of a change of a container's area. Each step first looks at what is in its
// place, so that it can be repeated after a kill.
#include "node/agent/tem/area_steps.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "node/agent/tem/area_plan.h"
#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

// Prefix of temporary names; no name in a template begins with it.
constexpr const char* kBesidePrefix = ".qxtem-new.";

bool exists(int root, const std::string& path) {
    if (base::statBelow(root, path)) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
        throw systemFailure("examine", path);
    }
    return errno != ENOENT;
}

void makeBeside(int parent, const std::string& name, const std::string& path,
                const AreaEntry& entry) {
    const struct stat attributes = entry.attributes();
    bool made = false;
    if (entry.kind == AreaEntry::Kind::link) {
        made = symlinkat(entry.text.c_str(), parent, name.c_str()) == 0 &&
               base::applyLinkAttributes(parent, name, attributes);
    } else {
        const base::Fd file = base::openBelow(parent, name, O_WRONLY | O_CREAT | O_EXCL, 0600);
        made = file && base::writeContent(file.get(), entry.text) &&
               base::applyAttributes(file.get(), attributes);
    }
    if (!made) {
        const Failure failure = systemFailure("make", path);
        unlinkat(parent, name.c_str(), 0);
        throw Failure(failure);
    }
}

void makeDirectory(int root, const std::string& path, const AreaEntry& entry) {
    std::string name;
    const base::Fd parent = base::openParent(root, path, name);
    if (!parent || (mkdirat(parent.get(), name.c_str(), 0700) != 0 && errno != EEXIST)) {
        throw systemFailure("make directory", path);
    }
    const base::Fd made = base::openBelow(parent.get(), name, O_RDONLY | O_DIRECTORY);
    if (!made || !base::applyAttributes(made.get(), entry.attributes())) {
        throw systemFailure("make directory", path);
    }
}

// Makes a directory, or puts a file or link into its place.
void put(int root, const std::string& path, const AreaEntry& entry) {
    if (entry.kind == AreaEntry::Kind::directory) {
        makeDirectory(root, path, entry);
    } else {
        putEntry(root, path, entry);
    }
}

// Removes the temporary file of a writer that was killed before its rename.
void removeBeside(int root, const std::string& path) {
    std::string name;
    if (const base::Fd parent = base::openParent(root, path, name)) {
        unlinkat(parent.get(),
                 (kBesidePrefix + std::to_string(std::hash<std::string>{}(name))).c_str(), 0);
    }
}

void take(int root, const std::string& path, const AreaEntry& entry) {
    const bool isDirectory = entry.kind == AreaEntry::Kind::directory;
    std::string name;
    const base::Fd parent = base::openParent(root, path, name);
    if (!parent || unlinkat(parent.get(), name.c_str(), isDirectory ? AT_REMOVEDIR : 0) != 0) {
        // A directory with files of the container stays.
        if (!isDirectory || (errno != ENOTEMPTY && errno != EEXIST && errno != EBUSY)) {
            throw systemFailure("remove", path);
        }
    }
}

void save(int root, int saved, const std::string& path, unsigned number) {
    std::string name;
    const base::Fd parent = base::openParent(root, path, name);
    if (!parent || renameat2(parent.get(), name.c_str(), saved, std::to_string(number).c_str(),
                             RENAME_NOREPLACE) != 0) {
        throw systemFailure("set aside", path);
    }
}

// Restores the container's own file; false if there is none.
bool restore(int root, int saved, const std::string& path, unsigned number) {
    const std::string from = std::to_string(number);
    struct stat st {};
    if (number == 0 || fstatat(saved, from.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    std::string name;
    const base::Fd parent = base::openParent(root, path, name);
    if (!parent || renameat2(saved, from.c_str(), parent.get(), name.c_str(), 0) != 0) {
        throw systemFailure("put back", path);
    }
    return true;
}

// Removes our entry and restores the container's own file, if there was one.
void giveUp(int root, int saved, const std::string& path, const AreaEntry& entry) {
    if (entry.kind != AreaEntry::Kind::directory) {
        if (!restore(root, saved, path, entry.saved)) {
            take(root, path, entry);
        }
        return;
    }
    take(root, path, entry);
    if (entry.saved != 0 && !exists(root, path)) {
        restore(root, saved, path, entry.saved);
    }
}

// True if the new entry replaces a file with which the container had replaced the old entry.
bool replacesOwnFile(const AreaStep& step) {
    return step.after->saved != 0 && (!step.before || step.before->saved != step.after->saved);
}

bool isSaved(int saved, unsigned number) {
    struct stat st {};
    return number != 0 &&
           fstatat(saved, std::to_string(number).c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

std::vector<AreaStep> stepsBetween(const std::vector<AreaRecord>& leaving,
                                   const std::vector<AreaRecord>& coming,
                                   const std::vector<AreaRecord>& staying) {
    std::map<std::string, const AreaEntry*> before;
    std::map<std::string, const AreaEntry*> after;
    for (const AreaRecord& record : leaving) {
        for (const auto& [path, entry] : record.entries) {
            before.emplace(path, &entry);
        }
    }
    for (const AreaRecord& record : coming) {
        for (const auto& [path, entry] : record.entries) {
            after.emplace(path, &entry);
        }
    }
    const auto stays = [&](const std::string& path) {
        return std::any_of(staying.begin(), staying.end(),
                           [&](const AreaRecord& record) { return record.entries.contains(path); });
    };
    std::vector<AreaStep> steps;
    // Removals come first, deepest entries first, so that a file can replace a directory.
    for (auto gone = before.rbegin(); gone != before.rend(); ++gone) {
        const auto& [path, entry] = *gone;
        const auto next = after.find(path);
        if ((next == after.end() || next->second->kind != entry->kind) && !stays(path)) {
            steps.push_back({path, *entry, std::nullopt, false});
        }
    }
    for (const auto& [path, entry] : after) {
        const auto previous = before.find(path);
        if (previous == before.end() || previous->second->kind != entry->kind) {
            steps.push_back({path, std::nullopt, *entry, stays(path)});
        } else {
            steps.push_back({path, *previous->second, *entry, false});
        }
    }
    return steps;
}

void putEntry(int root, const std::string& path, const AreaEntry& entry) {
    std::string name;
    const base::Fd parent = base::openParent(root, path, name);
    if (!parent) {
        throw systemFailure("open the directory of", path);
    }
    const std::string beside = kBesidePrefix + std::to_string(std::hash<std::string>{}(name));
    // A writer that was killed here left it.
    if (unlinkat(parent.get(), beside.c_str(), 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove", path);
    }
    makeBeside(parent.get(), beside, path, entry);
    if (renameat2(parent.get(), beside.c_str(), parent.get(), name.c_str(), 0) != 0) {
        const Failure failure = systemFailure("put in place", path);
        unlinkat(parent.get(), beside.c_str(), 0);
        throw Failure(failure);
    }
}

void doStep(int root, int saved, const AreaStep& step) {
    if (!step.after) {
        if (standsAsMade(root, step.path, *step.before)) {
            giveUp(root, saved, step.path, *step.before);
        }
        return;
    }
    if (step.before && !replacesOwnFile(step)) {
        const bool stands = standsAsMade(root, step.path, *step.before);
        // A file that the container removed is made again with the new version, or by a repair.
        if (stands ? !sameEntry(*step.before, *step.after) : !exists(root, step.path)) {
            put(root, step.path, *step.after);
        }
        return;
    }
    if (standsAsMade(root, step.path, *step.after)) {
        return;
    }
    if (exists(root, step.path)) {
        if (step.after->saved == 0 || isSaved(saved, step.after->saved)) {
            // A file made since the plan belongs to the container and stays.
            return;
        }
        save(root, saved, step.path, step.after->saved);
    }
    put(root, step.path, *step.after);
}

void undoStep(int root, int saved, const AreaStep& step) {
    removeBeside(root, step.path);
    if (!step.after) {
        if (!exists(root, step.path)) {
            put(root, step.path, *step.before);
        } else if (step.before->saved != 0 && !isSaved(saved, step.before->saved)) {
            save(root, saved, step.path, step.before->saved);
            put(root, step.path, *step.before);
        }
        return;
    }
    const bool stands = standsAsMade(root, step.path, *step.after);
    if (step.before && !replacesOwnFile(step)) {
        if (stands && !sameEntry(*step.before, *step.after)) {
            put(root, step.path, *step.before);
        }
        return;
    }
    if (isSaved(saved, step.after->saved)) {
        if (stands || !exists(root, step.path)) {
            restore(root, saved, step.path, step.after->saved);
        }
    } else if (step.after->saved == 0 && !step.shared && stands) {
        take(root, step.path, *step.after);
    }
}

}  // namespace QXA::tem
