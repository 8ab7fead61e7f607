// Operations on the index of a directory: create, check, copy, correct and list it.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/common.h"
#include "src/dirindex_model.h"
#include "src/index/area_format.h"
#include "src/index/format.h"
#include "src/index/reader.h"
#include "src/namelist.h"
#include "src/qxfsutil.h"

namespace {

using common::kLevelDetails;
using dirindex::Reader;
using dirindex::Record;

// ---- writing ----

struct StreamCloser {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

Stream open_index(const char* path) {
    base::Fd fd = base::openToRewrite(path, O_RDWR);
    Stream stream(fd ? fdopen(fd.get(), "w+") : nullptr);
    if (stream != nullptr) {
        fd.release();
    }
    return stream;
}

// A record longer than a block is written, but every reader refuses it. Link records are placed in
// the order of writing, so the entry that has one is the first with a larger offset than all
// before.
bool has_too_long_record() {
    uint32_t last_link = 0;
    for (unsigned i = 0; i < prime; ++i) {
        for (const dent* entry = ht[i].head; entry != nullptr; entry = entry->next) {
            uint64_t size = dirindex::kRecordHeadSize + dirindex::padded(entry->namelen);
            if (entry->poolstr != nullptr && entry->link > last_link) {
                last_link = entry->link;
                size +=
                    dirindex::kTextInLinkRecord + dirindex::padded(strlen(entry->poolstr->text));
            }
            if (size > dirindex::kBlockSize) {
                return true;
            }
        }
    }
    return false;
}

// Writes the entry list as an index and flushes and checks it. False with errno.
bool write_index(Stream stream) {
    if (emit_dirindex(stream.get()) != 0 || fsync(fileno(stream.get())) != 0) {
        return false;
    }
    if (fclose(stream.release()) != 0) {
        return false;
    }
    if (has_too_long_record()) {
        errno = EFBIG;
        return false;
    }
    return true;
}

bool sync_directory(const char* path) {
    base::Fd fd(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd && fsync(fd.get()) == 0;
}

// ---- reading ----

class Mapping {
public:
    explicit Mapping(const char* path) : base_(mmap_file(path, &st_)) {}
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { unmap(); }

    void* base() const { return base_; }
    size_t size() const { return static_cast<size_t>(st_.st_size); }
    bool unmap() {
        void* base = base_;
        base_ = nullptr;
        return base == nullptr || munmap(base, size()) == 0;
    }

private:
    struct stat st_ {};
    void* base_;
};

const char* linked_text(const Reader& reader, const Record& record) {
    return record.link == 0 ? nullptr : reader.link_text(record.link);
}

// True if a link string fits into a block with its record, as all written ones do. Each record that
// shares it gives a text of its own, so without this limit a small file could fill the memory.
bool link_is_bounded(const Reader& reader, const Record& record) {
    const char* link = linked_text(reader, record);
    return link == nullptr || strnlen(link, dirindex::kBlockSize + 1) <= dirindex::kBlockSize;
}

// The results with which a visitor ends a walk over the records of a checked index.
enum class WalkFault { kNone, kTruncated };

// Calls `visit` for each record from `start` up to the one with the EOF flag or the end of the
// file.
template <class Visit>
WalkFault walk_records(const Reader& reader, uint32_t start, Visit visit) {
    uint64_t offset = start;
    while (reader.has_head(offset)) {
        const Record record = reader.record(offset);
        if (record.reclen < dirindex::kMinReclen || reader.name(record) == nullptr ||
            !link_is_bounded(reader, record)) {
            return WalkFault::kTruncated;
        }
        visit(record);
        if ((record.flags & dirindex::kLastOfFile) != 0) {
            break;
        }
        offset += record.reclen;
    }
    return WalkFault::kNone;
}

bool start_is_inside(const Reader& reader) {
    return uint64_t{reader.header().start} < reader.size();
}

struct Free {
    void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char, Free>;

// Copies a record into the entry list, its link string with the new identifier.
void copy_corrected(const Reader& reader, const Record& record, const char* old_id,
                    const char* new_id) {
    poolstr* link = nullptr;
    const char* text = linked_text(reader, record);
    if (text != nullptr) {
        const Text corrected(xstrdup(text));
        correct_magic_uuid(corrected.get(), old_id, new_id);
        link = pool_add(corrected.get());
    }
    const char* name = reader.name(record);
    dirindex::append_dent(dirindex::new_dent(record.type, name, strlen(name), record.ino, link));
    if (record.type == dirindex::kTypeDirectory) {
        ++dtot;
    }
}

// True, with errno, if something other than a regular file is there.
bool is_taken(const char* path) {
    struct stat st {};
    const bool taken = lstat(path, &st) == 0 && !S_ISREG(st.st_mode);
    errno = !taken ? 0 : S_ISLNK(st.st_mode) ? ELOOP : EINVAL;
    return taken;
}

// True if an open failed because a device is there: it has no room for any index.
bool is_device(const char* path, int reason) {
    struct stat st {};
    return reason == EINVAL && lstat(path, &st) == 0 &&
           (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode));
}

bool mark_indexed(const char* started_in) {
    struct stat st {};
    if (stat(".", &st) != 0) {
        werror(errno, "can't stat '%s'", started_in);
        return false;
    }
    if (chmod(".", (st.st_mode & qxfs::kPermissionMask) | qxfs::kIndexedBit) != 0) {
        werror(errno, "can't chmod '%s'", started_in);
        return false;
    }
    return true;
}

bool enter(const char* dir) {
    if (strcmp(dir, ".") != 0 && chdir(dir) != 0) {
        werror(errno, "Can't chdir to '%s'", dir);
        return false;
    }
    return true;
}

}  // namespace

int create_dirindex(const char* dir, const char* index_name, const char* root, int mode) {
    dirindex::remember_current_path();
    const std::string started_in = current_path;
    if (!enter(dir)) {
        return 1;
    }
    const int scanned = scan_dir_for_index(root, mode);
    if (scanned != 0) {
        return scanned;
    }
    select_prime();
    create_hash_table();
    Stream stream = open_index(index_name);
    if (stream == nullptr) {
        werror(errno, "can't open '%s'", index_name);
        return 1;
    }
    // Remove the files only after the index and its name were flushed.
    if (!write_index(std::move(stream)) || !sync_directory(".")) {
        werror(errno, "can't write '%s'", index_name);
        return 1;
    }
    return remove_list() == 0 && mark_indexed(started_in.c_str()) ? 0 : 1;
}

int fsck_dirindex(const char* dir, const char* index_name, const char* out_path, const char* root) {
    if (!enter(dir)) {
        return 1;
    }
    dirindex::remember_current_path();
    Mapping map(index_name);
    if (map.base() == nullptr) {
        werror(errno, "can't mmap dirindex file '%s/%s'", current_path, index_name);
        return -1;
    }
    const int result = fsck_in_core(index_name, map.base(), map.size(), out_path, root);
    if (!map.unmap()) {
        werror(errno, "can't munmap dirindex file '%s/%s'", current_path, index_name);
    }
    return result;
}

int clone_dirindex(const char* source, const char* target, const char* old_id, const char* new_id) {
    dirindex::remember_current_path();
    if (old_id == nullptr || new_id == nullptr) {
        // What cannot be opened as a target would be passed over without a word.
        if (is_taken(target) || copy_reg_file(source, target) != 0) {
            werror(errno, "can't copy dirindex file '%s/%s'", current_path, source);
            return -1;
        }
        return 0;
    }
    Mapping map(source);
    if (map.base() == nullptr) {
        werror(errno, "can't mmap dirindex file '%s/%s'", current_path, source);
        return -1;
    }
    const int result = correct_dirindex(source, map.base(), map.size(), target, old_id, new_id);
    if (!map.unmap()) {
        werror(errno, "can't munmap dirindex file '%s/%s'", current_path, source);
    }
    return result;
}

int correct_dirindex(const char* name, void* base, size_t size, const char* target,
                     const char* old_id, const char* new_id) {
    if (fsck_in_core(name, base, size, nullptr, nullptr) < 0) {
        return -1;
    }
    dirindex::begin_operation();
    const Reader reader(base, size);
    if (!start_is_inside(reader)) {
        warning(0, "ERROR: corrupted index header '%s/%s'", current_path, name);
        return -1;
    }
    const uint32_t start = reader.header().start;
    if (start == 0) {
        return 0;
    }
    const WalkFault fault = walk_records(reader, start, [&](const Record& record) {
        copy_corrected(reader, record, old_id, new_id);
    });
    if (fault != WalkFault::kNone) {
        warning(0, "Truncated... '%s/%s'", current_path, name);
        return -1;
    }
    select_prime();
    create_hash_table();
    Stream stream = open_index(target);
    if (stream == nullptr) {
        const int reason = errno;
        const bool device = is_device(target, reason);
        werror(device ? ENOSPC : reason, device ? "can't write '%s/%s'" : "can't open '%s/%s'",
               current_path, target);
        return -1;
    }
    if (!write_index(std::move(stream))) {
        werror(errno, "can't write '%s/%s'", current_path, target);
        return -1;
    }
    return 0;
}

int correct_magic_uuid(char* link, const char* old_id, const char* new_id) {
    constexpr std::string_view kCachePrefix = "////vc";
    const size_t length = strlen(old_id);
    if (length != strlen(new_id)) {
        werror(0, "Source and destination UUID length are not equal");
        return 0;
    }
    if (!std::string_view(link).starts_with(kCachePrefix)) {
        return 0;
    }
    char* id = link + kCachePrefix.size();
    const size_t slashes = strspn(id, "/");
    id += slashes;
    if (slashes == 0 || strncmp(id, old_id, length) != 0) {
        return 0;
    }
    QXFS_DEBUG(kLevelDetails, "cache link '%s'\n", link);
    memcpy(id, new_id, length);
    QXFS_DEBUG(kLevelDetails, "changed to cache link '%s'\n", link);
    return 1;
}

char** read_dirindex(const char* path) {
    Mapping map(path);
    if (map.base() == nullptr) {
        werror(errno, "can't mmap dirindex file '%s'", path);
        return nullptr;
    }
    char** items = read_in_core(path, map.base(), map.size());
    if (!map.unmap()) {
        werror(errno, "can't munmap dirindex file '%s'", path);
    }
    return items;
}

char** read_in_core(const char* name, void* base, size_t size) {
    if (fsck_in_core(name, base, size, nullptr, nullptr) < 0) {
        return nullptr;
    }
    const Reader reader(base, size);
    if (!start_is_inside(reader)) {
        warning(0, "ERROR: corrupted index header '%s'", name);
        return nullptr;
    }
    const uint32_t start = reader.header().start;
    size_t count = 0;
    const WalkFault fault = walk_records(reader, start, [&](const Record& record) {
        count += linked_text(reader, record) != nullptr ? 1 : 0;
    });
    if (fault != WalkFault::kNone) {
        warning(0, "Truncated... '%s'", name);
        return nullptr;
    }
    auto** items = static_cast<char**>(xmalloc((count + 1) * sizeof(char*)));
    char** next = items;
    walk_records(reader, start, [&](const Record& record) {
        const char* link = linked_text(reader, record);
        if (link != nullptr) {
            *next++ = xstring2('/', link, reader.name(record));
        }
    });
    return items;
}

int remove_list() {
    while (rl_info != nullptr) {
        if (unlink(rl_info->name) != 0) {
            const int reason = errno;
            dirindex::remember_current_path();
            werror(reason, "can't remove '%s/%s'", current_path, rl_info->name);
            return 1;
        }
        qxfs::namelist_drop_first(&rl_info);
    }
    return 0;
}
