// Checks the structure of an index, gathers its entries, and writes it anew without lost links.
//
//   1. header: signature, checksum (a warning only), bucket count, start
//   2. hash walk: every record that a bucket reaches is sound and reached once (it is marked)
//   3. linear walk: the records from the first to the end of the file become the entry list;
//      those whose template file is gone stay out
//   4. with lost links and an out path, the list is written as a new index
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/common.h"
#include "src/dirindex_bytes.h"
#include "src/dirindex_model.h"
#include "src/dirindex_reader.h"
#include "src/dirindex_table.h"

namespace {

using common::kLevelDetails;
using common::kLevelFaults;
using namespace dirindex;

constexpr int kFault = -2;
constexpr int kNotWritten = -1;
constexpr int kSound = 0;
constexpr int kLost = 1;

class Check {
public:
    Check(const char* name, void* base, size_t size, const char* root)
        : name_(name),
          base_(base),
          index_(base, size),
          root_(root),
          copies_left_(4 * index_.size() + (1 << 20)) {}

    // kFault, kSound or kLost; the entry list holds what was kept.
    int run() {
        if (!header_is_sound() || !hash_is_sound() || !records_are_sound()) {
            return kFault;
        }
        return lost_ ? kLost : kSound;
    }

private:
    bool header_is_sound();
    bool checksum_holds() const;
    bool hash_is_sound();
    bool bucket_is_sound(uint64_t offset);
    bool reached_record_is_sound(const Record& record);
    bool records_are_sound();
    bool listed_record_is_sound(const Record& record);
    bool take(const Record& record);
    bool keep(const Record& record, const char* entry_name, const char* link);
    bool template_exists(const char* entry_name, const char* link);
    poolstr* pooled(uint32_t link, const char* text);
    bool copy_allowed(size_t length);

    const char* name_;
    void* base_;
    MarkingReader index_;
    const char* root_;
    Header header_{};
    bool eof_seen_ = false;
    bool lost_ = false;
    // Names and distinct link strings of a well-formed index lie apart and are together shorter
    // than the file. Overlapping ones could make memory grow with its square.
    uint64_t copies_left_;
    StringTable links_;
    uint32_t last_link_ = 0;
    poolstr* last_string_ = nullptr;
    std::string path_;
};

// With the checksum's field cleared.
bool Check::checksum_holds() const {
    uint8_t expected[kChecksumSize];
    store32(expected, header_.checksum);
    return verify_checksum(base_, index_.size(), expected) == 0;
}

bool Check::header_is_sound() {
    header_ = index_.header();
    if (!index_.has_header() || header_.signature != kSignature) {
        QXFS_DEBUG(kLevelFaults, "FATAL: wrong signature '%s' %08x\n", name_, header_.signature);
        return false;
    }
    index_.clear_checksum();
    // Nothing but the warning depends on it, and it costs more than the rest of the check: nobody
    // listens, nothing is computed.
    if (qxfsutil_debug_level >= kLevelDetails && !checksum_holds()) {
        QXFS_DEBUG(kLevelDetails, "WARNING: wrong checksum '%s'\n", name_);
    }
    if (header_.prime == 0) {
        QXFS_DEBUG(kLevelFaults, "FATAL: zero hash prime '%s'\n", name_);
        return false;
    }
    if (header_.start >= index_.size()) {
        QXFS_DEBUG(kLevelFaults, "FATAL: start index is after EOF\n");
        return false;
    }
    if (header_.start == 0) {
        QXFS_DEBUG(kLevelDetails, "WARNING: empty dir\n");
    } else if (header_.start < kHashTableOffset + kHashSlotSize * header_.prime) {
        QXFS_DEBUG(kLevelFaults, "FATAL: start points inside hash table\n");
        return false;
    }
    return true;
}

bool Check::hash_is_sound() {
    const uint64_t slots = index_.slots(header_.prime);
    for (uint64_t i = 0; i < slots; ++i) {
        const uint32_t offset = index_.slot(i);
        if (offset != 0 && !bucket_is_sound(offset)) {
            return false;
        }
    }
    return true;
}

bool Check::bucket_is_sound(uint64_t offset) {
    for (;;) {
        if (offset < header_.start || offset >= index_.size()) {
            QXFS_DEBUG(kLevelFaults, "FATAL: hash points to nowhere\n");
            return false;
        }
        if (!index_.has_head(offset)) {
            QXFS_DEBUG(kLevelFaults, "FATAL: truncated dentry\n");
            return false;
        }
        const Record record = index_.record(offset);
        if ((record.flags & kReservedFlags) != 0) {
            QXFS_DEBUG(kLevelFaults, "FATAL: hash buckets cross\n");
            return false;
        }
        if (eof_seen_) {
            QXFS_DEBUG(kLevelDetails, "WARNING: entry after EOF\n");
        }
        index_.mark_visited(record);
        if (!reached_record_is_sound(record)) {
            return false;
        }
        const bool last_of_file = (record.flags & kLastOfFile) != 0;
        eof_seen_ = eof_seen_ || last_of_file;
        if ((record.flags & kLastOfBucket) != 0) {
            return true;
        }
        if (last_of_file) {
            QXFS_DEBUG(kLevelDetails, "WARNING: EOF?\n");
        }
        offset += record.reclen;
    }
}

bool Check::reached_record_is_sound(const Record& record) {
    if (record.reclen < kMinReclen || record.reclen > kMaxReclen || !index_.holds_record(record)) {
        QXFS_DEBUG(kLevelFaults, "FATAL: bad reclen\n");
        return false;
    }
    if (record.namelen > kMaxNamelen || !index_.holds_padded_name(record)) {
        const std::string_view text = index_.name_to_end(record);
        QXFS_DEBUG(kLevelFaults, "FATAL: bad namelen %d for %.*s\n", record.namelen,
                   static_cast<int>(std::min<size_t>(text.size(), INT_MAX)), text.data());
        return false;
    }
    if (record.link == 0) {
        return true;
    }
    if (record.link <= header_.start) {
        QXFS_DEBUG(kLevelFaults, "FATAL: link %u points to hash\n", record.link);
        return false;
    }
    if (record.link > record.offset + record.reclen || index_.link_text(record.link) == nullptr) {
        QXFS_DEBUG(kLevelFaults, "FATAL: link points forward\n");
        return false;
    }
    return true;
}

bool Check::records_are_sound() {
    eof_seen_ = false;
    uint64_t offset = header_.start;
    while (offset != index_.size()) {
        // Without a start the walk would read the header as a record, whose reclen is that start.
        if (header_.start == 0 || !index_.has_head(offset)) {
            QXFS_DEBUG(kLevelFaults, "FATAL: truncated...\n");
            return false;
        }
        const Record record = index_.record(offset);
        if (!listed_record_is_sound(record) || !take(record)) {
            return false;
        }
        offset += record.reclen;
        if ((record.flags & kVisited) == 0) {
            QXFS_DEBUG(kLevelDetails, "WARNING: dentry is not in hash\n");
        }
        if ((record.flags & kLastOfFile) != 0) {
            if (offset != index_.size()) {
                QXFS_DEBUG(kLevelDetails, "WARNING: EOF is in the middle\n");
            }
            eof_seen_ = true;
        }
    }
    if (!eof_seen_) {
        QXFS_DEBUG(kLevelDetails, "WARNING: last dentry is not EOF\n");
    }
    return true;
}

bool Check::listed_record_is_sound(const Record& record) {
    if (record.reclen < kMinReclen || !index_.holds_record(record) ||
        index_.name(record) == nullptr) {
        QXFS_DEBUG(kLevelFaults, "FATAL: truncated...\n");
        return false;
    }
    if (record.link != 0 && index_.link_text(record.link) == nullptr) {
        QXFS_DEBUG(kLevelFaults, "FATAL: link points forward\n");
        return false;
    }
    return true;
}

// Lists the record's entry and keeps it, unless its template file is lost.
bool Check::take(const Record& record) {
    const char* entry_name = index_.name(record);
    const char* link = record.link != 0 ? index_.link_text(record.link) : nullptr;
    QXFS_DEBUG(kLevelDetails, "%s\t%s", type_str(record.type), entry_name);
    if (link != nullptr) {
        QXFS_DEBUG(kLevelDetails, " -> %s/%s", link, entry_name);
    }
    if (link != nullptr && root_ != nullptr && !template_exists(entry_name, link)) {
        QXFS_DEBUG(kLevelFaults, "Lost link in 'dirindex' %s\n", path_.c_str());
        lost_ = true;
    } else if (!keep(record, entry_name, link)) {
        return false;
    }
    QXFS_DEBUG(kLevelDetails, "\n");
    return true;
}

bool Check::template_exists(const char* entry_name, const char* link) {
    const size_t link_length = strlen(link);
    path_.assign(root_).append("/");
    path_.append(link + std::min(link_length, kLinkPrefixLength)).append("/").append(entry_name);
    struct stat st {};
    return lstat(path_.c_str(), &st) == 0;
}

bool Check::keep(const Record& record, const char* entry_name, const char* link) {
    const size_t length = strlen(entry_name);
    if (!copy_allowed(length)) {
        return false;
    }
    poolstr* string = nullptr;
    if (link != nullptr && (string = pooled(record.link, link)) == nullptr) {
        return false;
    }
    append_dent(new_dent(record.type, entry_name, length, record.ino, string));
    if (record.type == kTypeDirectory) {
        ++dtot;
    }
    return true;
}

// The pool string of a link record, found by its place so that shared texts are compared once.
poolstr* Check::pooled(uint32_t link, const char* text) {
    if (link == last_link_) {
        return last_string_;
    }
    poolstr* known = links_.find(link, [](const poolstr&) { return true; });
    if (known == nullptr) {
        if (!copy_allowed(strlen(text))) {
            return nullptr;
        }
        known = pool_add(text);
        links_.add(link, known);
    }
    last_link_ = link;
    last_string_ = known;
    return known;
}

bool Check::copy_allowed(size_t length) {
    if (length > copies_left_) {
        QXFS_DEBUG(kLevelFaults, "FATAL: truncated...\n");
        return false;
    }
    copies_left_ -= length;
    return true;
}

// The place may lie in a container's area.
FILE* create_output(const char* path) {
    auto file = base::openToRewrite(path, O_WRONLY);
    FILE* stream = file ? fdopen(file.get(), "w") : nullptr;
    if (stream != nullptr) {
        file.release();
    }
    return stream;
}

int write_cleaned_index(const char* out_path) {
    QXFS_DEBUG(kLevelDetails, "Scanned %u entries, %u dirs\n", tot, dtot);
    select_prime();
    create_hash_table();
    FILE* stream = create_output(out_path);
    if (stream == nullptr) {
        werror(errno, "can't open '%s'", out_path);
        return kNotWritten;
    }
    const bool emitted_all = emit_dirindex(stream) == 0;
    const int emit_errno = errno;
    const bool closed = fclose(stream) == 0;
    if (!emitted_all || !closed) {
        werror(emitted_all ? errno : emit_errno, "can't write '%s'", out_path);
        return kNotWritten;
    }
    clean_memory();
    QXFS_DEBUG(kLevelDetails, "wrote file %s/%s \n", current_path, out_path);
    return kLost;
}

}  // namespace

int fsck_in_core(const char* name, void* base, size_t size, const char* out_path,
                 const char* root) {
    begin_operation();
    int result = Check(name, base, size, root).run();
    if (result == kLost && out_path != nullptr) {
        result = write_cleaned_index(out_path);
    }
    if (result < 0) {
        clean_memory();
    }
    return result;
}

namespace {

// Memory of its own that holds the file's bytes as they were read: a file that a container cuts
// short while it is mapped would end the process. Null with errno.
void* read_into_mapping(int descriptor, struct stat& st) {
    const auto size = static_cast<size_t>(st.st_size);
    if (st.st_size > off_t{UINT32_MAX}) {
        errno = EFBIG;  // no offset of an index reaches so far
        return nullptr;
    }
    void* mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) {
        return nullptr;
    }
    size_t filled = 0;
    while (filled < size) {
        const ssize_t got = read(descriptor, static_cast<char*>(mapping) + filled, size - filled);
        if (got == 0 || (got < 0 && errno != EINTR)) {
            if (got == 0 && filled > 0) {
                break;
            }
            const int reason = got < 0 ? errno : EINVAL;
            munmap(mapping, size);
            errno = reason;
            return nullptr;
        }
        filled += got > 0 ? static_cast<size_t>(got) : 0;
    }
    // Cut short meanwhile: the caller unmaps what the size says.
    st.st_size = static_cast<off_t>(filled);
    return filled < size ? mremap(mapping, size, filled, 0) : mapping;
}

}  // namespace

void* mmap_file(const char* path, struct stat* st) {
    // A pipe planted in the index's place must not hold the checker up.
    const base::Fd file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        warning(errno, "can't open dirindex file '%s'", path);
        return nullptr;
    }
    if (fstat(file.get(), st) != 0) {
        warning(errno, "can't fstat dirindex file '%s'", path);
        return nullptr;
    }
    if (!S_ISREG(st->st_mode)) {
        warning(EINVAL, "can't open dirindex file '%s'", path);
        return nullptr;
    }
    void* mapping = read_into_mapping(file.get(), *st);
    if (mapping == nullptr) {
        warning(errno, "can't mmap dirindex file '%s'", path);
    }
    return mapping;
}
