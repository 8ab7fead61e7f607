// What is remembered of the indexes of a container's area. The files have the form of template
// records; a directory stands in them as the path of something in it, since the root has no name.
#include "node/agent/tem/index_record.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "base/content.h"
#include "base/durable.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

// Names without "@" are no template's.
constexpr const char* kIndexesName = "indexes";
constexpr const char* kShortcutsName = "shortcuts";
constexpr const char* kPlainName = qxnode::kPlainRecord;
constexpr std::size_t kMaxSize = std::size_t{1} << 30;

// As short as a name can be: a path that holds an entry of a template leaves room for it.
std::string insideOf(const std::string& directory) {
    return directory + (directory.empty() ? "x" : "/x");
}

std::string directoryOf(const std::string& inside) {
    return inside.substr(0, inside.size() - std::min<std::size_t>(inside.size(), 2));
}

bool fitsRecord(const std::string& path) {
    try {
        return checkedEntryPath(path) == path;
    } catch (const Failure&) {
        return false;
    }
}

std::map<std::string, AreaEntry> readEntries(int state, const char* name) {
    const std::optional<std::string> text = base::readFileBelow(state, name, kMaxSize);
    if (!text && errno != ENOENT) {
        throw systemFailure("read", std::string(kAreaStateName) + "/" + name);
    }
    return text ? parseRecord(*text, std::string(kAreaStateName) + "/" + name).entries
                : std::map<std::string, AreaEntry>();
}

std::set<std::string> directoriesIn(const std::map<std::string, AreaEntry>& entries) {
    std::set<std::string> directories;
    for (const auto& [inside, entry] : entries) {
        directories.insert(directoryOf(inside));
    }
    return directories;
}

void removeFile(int state, const char* name) {
    if (unlinkat(state, name, 0) != 0) {
        if (errno == ENOENT) {
            return;
        }
        throw systemFailure("remove", std::string(kAreaStateName) + "/" + name);
    }
    if (!base::flushDirectory(state)) {
        throw systemFailure("flush", kAreaStateName);
    }
}

void writeEntries(int state, const char* name, std::map<std::string, AreaEntry> entries) {
    if (entries.empty()) {
        removeFile(state, name);
        return;
    }
    const AreaRecord record{{name, "1"}, false, std::move(entries)};
    if (!base::writeFileDurably(state, name, formatRecord(record), 0600)) {
        throw systemFailure("write", std::string(kAreaStateName) + "/" + name);
    }
}

}  // namespace

IndexRecord readIndexRecord(int state) {
    return {directoriesIn(readEntries(state, kIndexesName)), readEntries(state, kShortcutsName)};
}

void writeIndexRecord(int state, const IndexRecord& record) {
    std::map<std::string, AreaEntry> directories;
    for (const std::string& directory : record.ours) {
        directories.emplace(insideOf(directory), AreaEntry());
    }
    std::map<std::string, AreaEntry> shortcuts = record.shortcuts;
    std::erase_if(shortcuts, [](const auto& shortcut) { return !fitsRecord(shortcut.first); });
    writeEntries(state, kIndexesName, std::move(directories));
    writeEntries(state, kShortcutsName, std::move(shortcuts));
}

PlainDirectories readPlainDirectories(int state) {
    PlainDirectories directories;
    for (const auto& [inside, entry] : readEntries(state, kPlainName)) {
        directories.emplace(directoryOf(inside), entry.saved != 0);
    }
    return directories;
}

void writePlainDirectories(int state, const PlainDirectories& directories) {
    std::map<std::string, AreaEntry> entries;
    for (const auto& [directory, othersIndex] : directories) {
        AreaEntry entry;
        entry.saved = othersIndex ? 1 : 0;
        entries.emplace(insideOf(directory), entry);
    }
    writeEntries(state, kPlainName, std::move(entries));
}

void removePlainDirectories(int state) {
    removeFile(state, kPlainName);
}

}  // namespace QXA::tem
