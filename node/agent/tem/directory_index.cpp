// The index of one directory of a container's area.
#include "node/agent/tem/directory_index.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "base/content.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "layout/paths.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/links.h"
#include "src/index/index_file.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

constexpr mode_t kMark = S_ISUID;

Failure damaged(const std::string& path, const std::string& what) {
    return Failure("the index of '/" + path + "' " + what + "; check the container's area");
}

// A text of an index is what somebody wrote there: it must name a file below the template area, and
// make an entry of the directory.
void refuseUnsafeText(const std::string& text, const std::string& path) {
    const std::string_view rest =
        std::string_view(text).substr(std::min(text.find_first_not_of('/'), text.size()));
    try {
        if (!text.starts_with(kMagicPrefix) || text.size() > kMaxShortcut || rest.empty() ||
            text.back() == '/' || checkedEntryPath(rest).empty()) {
            throw damaged(path, "holds a reference that leads nowhere");
        }
    } catch (const Failure&) {
        throw damaged(path, "holds a reference that leads nowhere");
    }
}

WrittenIndex impossible(std::string reason) {
    return {WrittenIndex::Result::impossible, std::move(reason), {}};
}

// Writes an index beside its place.
void writeBeside(int directory, const std::string& bytes, const std::string& path) {
    if (unlinkat(directory, dirindex::kNewIndexName, 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove", path + "/" + dirindex::kNewIndexName);
    }
    const base::Fd file =
        base::openBelow(directory, dirindex::kNewIndexName, O_WRONLY | O_CREAT | O_EXCL, 0644);
    if (!file || !base::writeContent(file.get(), bytes) || fchmod(file.get(), 0644) != 0) {
        throw systemFailure("write the index of", path);
    }
}

}  // namespace

DirectoryMarks marksOf(int directory, const std::string& path) {
    struct stat info {};
    if (fstat(directory, &info) != 0) {
        throw systemFailure("examine", path);
    }
    struct stat index {};
    const bool found = fstatat(directory, dirindex::kIndexName, &index, AT_SYMLINK_NOFOLLOW) == 0;
    if (!found && errno != ENOENT) {
        throw systemFailure("examine the index of", path);
    }
    return {(info.st_mode & kMark) != 0, found && S_ISREG(index.st_mode)};
}

std::vector<std::string> textsOfIndex(int directory, const std::string& path) {
    const auto index = dirindex::readIndexFile(directory, dirindex::kIndexName);
    if (!index.readable) {
        throw Failure("cannot read the index of '" + path + "': " + index.reason);
    }
    if (!index.sound) {
        throw damaged(path, "is damaged");
    }
    std::vector<std::string> found;
    for (const auto& entry : index.entries) {
        if (entry.link.has_value()) {
            found.push_back(*entry.link + "/" + entry.name);
            refuseUnsafeText(found.back(), path);
        }
    }
    return found;
}

WrittenIndex writeIndex(int directory, const std::string& path, bool withoutLinks) {
    const DirectoryMarks marks = marksOf(directory, path);
    if (marks.marked) {
        return impossible(marks.hasIndex ? "it has an index that was left as it is"
                                         : "it has a set-user-ID bit of its own");
    }
    auto scan = dirindex::scanDirectory(directory, qxnode::kTemplateDir);
    if (!scan) {
        throw systemFailure("read directory", path);
    }
    if (!scan->names.empty()) {
        return impossible("an index cannot hold '" + scan->names.front() + "'");
    }
    WrittenIndex written;
    written.superfluous = std::move(scan->superfluous);
    const bool hasReferences =
        std::any_of(scan->entries.begin(), scan->entries.end(),
                    [](const dirindex::IndexEntry& entry) { return entry.link.has_value(); });
    if (!withoutLinks && !hasReferences) {
        written.result = WrittenIndex::Result::notWanted;
        return written;
    }
    std::string bytes;
    std::string error;
    if (!dirindex::buildIndex(scan->entries, bytes, error)) {
        return impossible(error);
    }
    try {
        writeBeside(directory, bytes, path);
        if (renameat2(directory, dirindex::kNewIndexName, directory, dirindex::kIndexName, 0) !=
            0) {
            throw systemFailure("put in place the index of", path);
        }
        if (!dirindex::setIndexMark(directory, true)) {
            if (errno != EOPNOTSUPP) {
                throw systemFailure("change the mode of", path);
            }
            unlinkat(directory, dirindex::kIndexName, 0);
            return impossible("its file system does not keep the mark of an index");
        }
    } catch (const Failure&) {
        unlinkat(directory, dirindex::kNewIndexName, 0);
        unlinkat(directory, dirindex::kIndexName, 0);
        throw;
    }
    return written;
}

void removeSuperfluous(int directory, const std::string& path,
                       const dirindex::SuperfluousLink& link) {
    if (!dirindex::removeSuperfluous(directory, link)) {
        throw systemFailure("remove", path + "/" + link.name);
    }
}

void removeIndex(int directory, const std::string& path) {
    // A file system that does not keep the mark has none to take away.
    if (!dirindex::setIndexMark(directory, false) && errno != EOPNOTSUPP) {
        throw systemFailure("change the mode of", path);
    }
    if (unlinkat(directory, dirindex::kIndexName, 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove the index of", path);
    }
}

}  // namespace QXA::tem
