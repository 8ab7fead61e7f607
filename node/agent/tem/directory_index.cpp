// The index of one directory, written and read through the checker library.
#include "node/agent/tem/directory_index.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "base/fd.h"
#include "base/open_below.h"
#include "base/tree.h"
#include "layout/paths.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/links.h"
#include "src/qxfsutil.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

constexpr mode_t kMark = S_ISUID;

// An index on its way to its place; the checking tool knows the name and clears it away.
constexpr const char* kNewIndexName = "._qxlnk_.~new";

struct CloseStream {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

struct FreeTexts {
    void operator()(char** texts) const {
        for (char** text = texts; *text != nullptr; ++text) {
            std::free(*text);
        }
        std::free(texts);
    }
};

// The checker's lists, empty at both ends of what is done with them.
class CheckerLists {
public:
    CheckerLists() { drop(); }
    ~CheckerLists() { drop(); }
    CheckerLists(const CheckerLists&) = delete;
    CheckerLists& operator=(const CheckerLists&) = delete;

private:
    static void drop() {
        clean_memory();
        namelist_clean(&rl_info);
        tot = 0;
        dtot = 0;
        emitted = 0;
    }
};

// An open file mapped by the library.
class Mapping {
public:
    explicit Mapping(int file)
        : m_base(mmap_file(("/proc/self/fd/" + std::to_string(file)).c_str(), &m_info)) {}
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() {
        if (m_base != nullptr) {
            munmap(m_base, size());
        }
    }

    [[nodiscard]] void* base() const { return m_base; }
    [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(m_info.st_size); }

private:
    struct stat m_info {};
    void* m_base;
};

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

bool isReserved(const std::string& name) {
    return name == kIndexName || name == kReferenceName || name == kNewIndexName;
}

WrittenIndex impossible(std::string reason) {
    return {WrittenIndex::Result::impossible, std::move(reason), {}};
}

// Brings the directory's entries into the checker's list; the reason when it cannot be indexed.
std::optional<std::string> scan(int directory, const std::string& path,
                                std::vector<SuperfluousLink>& links) {
    const auto names = base::namesIn(directory);
    if (!names || fchdir(directory) != 0) {
        throw systemFailure("read directory", path);
    }
    std::vector<std::string> all{".", ".."};
    for (const std::string& name : *names) {
        if (!isReserved(name)) {
            all.push_back(name);
        }
    }
    for (const std::string& name : all) {
        SuperfluousLink link{name, {}};
        if (fstatat(directory, name.c_str(), &link.info, AT_SYMLINK_NOFOLLOW) != 0) {
            throw systemFailure("examine", path + "/" + name);
        }
        if (scan_one(name.c_str(), 0, qxnode::kTemplateDir) != 0) {
            return "an index cannot hold '" + name + "'";
        }
        if (namelist_search(rl_info, name.c_str()) == 0) {
            links.push_back(std::move(link));
        }
    }
    return std::nullopt;
}

bool hasReferences() {
    for (const dent* entry = dlist; entry != nullptr; entry = entry->next) {
        if (entry->poolstr != nullptr) {
            return true;
        }
    }
    return false;
}

// Writes the checker's list as an index file beside its place; false when what was written does not
// read back: an entry is too long for an index.
bool writeBeside(int directory, const std::string& path) {
    if (unlinkat(directory, kNewIndexName, 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove", path + "/" + kNewIndexName);
    }
    base::Fd file = base::openBelow(directory, kNewIndexName, O_RDWR | O_CREAT | O_EXCL, 0644);
    const Stream stream(file ? fdopen(file.get(), "w+") : nullptr);
    if (!stream) {
        throw systemFailure("create the index of", path);
    }
    const int written = file.release();
    select_prime();
    create_hash_table();
    if (emit_dirindex(stream.get()) != 0 || fchmod(written, 0644) != 0) {
        throw systemFailure("write the index of", path);
    }
    const Mapping mapping(written);
    return mapping.base() != nullptr &&
           fsck_in_core(kNewIndexName, mapping.base(), mapping.size(), nullptr, nullptr) == 0;
}

// False when the file system does not keep the mark.
bool setMark(int directory, bool marked, const std::string& path) {
    struct stat info {};
    if (fstat(directory, &info) != 0) {
        throw systemFailure("examine", path);
    }
    const mode_t bits = info.st_mode & 07777;
    const mode_t wanted = marked ? bits | kMark : bits & ~kMark;
    if (wanted == bits) {
        return true;
    }
    if (fchmod(directory, wanted) != 0 || fstat(directory, &info) != 0) {
        throw systemFailure("change the mode of", path);
    }
    return (info.st_mode & 07777) == wanted;
}

}  // namespace

DirectoryMarks marksOf(int directory, const std::string& path) {
    struct stat info {};
    if (fstat(directory, &info) != 0) {
        throw systemFailure("examine", path);
    }
    struct stat index {};
    const bool found =
        fstatat(directory, std::string(kIndexName).c_str(), &index, AT_SYMLINK_NOFOLLOW) == 0;
    if (!found && errno != ENOENT) {
        throw systemFailure("examine the index of", path);
    }
    return {(info.st_mode & kMark) != 0, found && S_ISREG(index.st_mode)};
}

std::vector<std::string> textsOfIndex(int directory, const std::string& path) {
    const base::Fd file =
        base::openBelow(directory, std::string(kIndexName), O_RDONLY | O_NONBLOCK);
    if (!file) {
        throw systemFailure("open the index of", path);
    }
    const CheckerLists lists;
    const Mapping mapping(file.get());
    const std::unique_ptr<char*, FreeTexts> texts(
        mapping.base() == nullptr
            ? nullptr
            : read_in_core(std::string(kIndexName).c_str(), mapping.base(), mapping.size()));
    if (!texts) {
        throw damaged(path, "is damaged");
    }
    std::vector<std::string> found;
    for (char* const* text = texts.get(); *text != nullptr; ++text) {
        found.emplace_back(*text);
        refuseUnsafeText(found.back(), path);
    }
    return found;
}

WrittenIndex writeIndex(int directory, const std::string& path, bool withoutLinks) {
    const DirectoryMarks marks = marksOf(directory, path);
    if (marks.marked) {
        return impossible(marks.hasIndex ? "it has an index that was left as it is"
                                         : "it has a set-user-ID bit of its own");
    }
    const CheckerLists lists;
    WrittenIndex written;
    if (const auto reason = scan(directory, path, written.superfluous)) {
        return impossible(*reason);
    }
    if (!withoutLinks && !hasReferences()) {
        written.result = WrittenIndex::Result::notWanted;
        return written;
    }
    const std::string place(kIndexName);
    try {
        if (!writeBeside(directory, path)) {
            unlinkat(directory, kNewIndexName, 0);
            return impossible("an entry is too long for an index");
        }
        if (renameat2(directory, kNewIndexName, directory, place.c_str(), 0) != 0) {
            throw systemFailure("put in place the index of", path);
        }
        if (!setMark(directory, true, path)) {
            unlinkat(directory, place.c_str(), 0);
            return impossible("its file system does not keep the mark of an index");
        }
    } catch (const Failure&) {
        unlinkat(directory, kNewIndexName, 0);
        unlinkat(directory, place.c_str(), 0);
        throw;
    }
    return written;
}

void removeSuperfluous(int directory, const std::string& path, const SuperfluousLink& link) {
    struct stat now {};
    const bool same = fstatat(directory, link.name.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 &&
                      now.st_ino == link.info.st_ino && now.st_dev == link.info.st_dev &&
                      now.st_ctim.tv_sec == link.info.st_ctim.tv_sec &&
                      now.st_ctim.tv_nsec == link.info.st_ctim.tv_nsec;
    if (same && unlinkat(directory, link.name.c_str(), 0) != 0) {
        throw systemFailure("remove", path + "/" + link.name);
    }
}

void removeIndex(int directory, const std::string& path) {
    setMark(directory, false, path);
    if (unlinkat(directory, std::string(kIndexName).c_str(), 0) != 0 && errno != ENOENT) {
        throw systemFailure("remove the index of", path);
    }
}

}  // namespace QXA::tem
