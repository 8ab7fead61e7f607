// The exported check of an index: says what src/index/structure.h finds, gathers the entries, those
// whose template file is gone left out, and writes the index anew without them.
#include <fcntl.h>
#include <md5.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "base/fd.h"
#include "base/name_table.h"
#include "base/open_below.h"
#include "src/common.h"
#include "src/dirindex_model.h"
#include "src/index/bytes.h"
#include "src/index/structure.h"

namespace {

using common::kLevelDetails;
using common::kLevelFaults;
using namespace dirindex;

constexpr int kFault = -2;
constexpr int kNotWritten = -1;
constexpr int kSound = 0;
constexpr int kLost = 1;

struct Text {
    int level;
    const char* words;
};

// What is said of a remark that has nothing to say beside itself.
Text text_of(Remark remark) {
    switch (remark) {
        case Remark::startBehindEnd:
            return {kLevelFaults, "FATAL: start index is after EOF\n"};
        case Remark::emptyDirectory:
            return {kLevelDetails, "WARNING: empty dir\n"};
        case Remark::startInHashTable:
            return {kLevelFaults, "FATAL: start points inside hash table\n"};
        case Remark::bucketToNowhere:
            return {kLevelFaults, "FATAL: hash points to nowhere\n"};
        case Remark::truncatedRecord:
            return {kLevelFaults, "FATAL: truncated dentry\n"};
        case Remark::bucketsCross:
            return {kLevelFaults, "FATAL: hash buckets cross\n"};
        case Remark::recordBehindEnd:
            return {kLevelDetails, "WARNING: entry after EOF\n"};
        case Remark::endInsideBucket:
            return {kLevelDetails, "WARNING: EOF?\n"};
        case Remark::badReclen:
            return {kLevelFaults, "FATAL: bad reclen\n"};
        case Remark::linkForward:
            return {kLevelFaults, "FATAL: link points forward\n"};
        case Remark::truncated:
            return {kLevelFaults, "FATAL: truncated...\n"};
        case Remark::inNoBucket:
            return {kLevelDetails, "WARNING: dentry is not in hash\n"};
        case Remark::endInside:
            return {kLevelDetails, "WARNING: EOF is in the middle\n"};
        default:
            return {kLevelDetails, "WARNING: last dentry is not EOF\n"};
    }
}

// Says what the check finds, and gathers what it lists.
class Check : public CheckListener {
public:
    Check(const char* name, void* base, size_t size, const char* root)
        : name_(name),
          base_(base),
          index_(base, size),
          root_(root),
          copies_left_(4 * index_.size() + (1 << 20)) {}

    // kFault, kSound or kLost; the entry list holds what was kept.
    int run() {
        if (!checkStructure(index_, *this)) {
            return kFault;
        }
        return lost_ ? kLost : kSound;
    }

    void header(const Header& header) override;
    void remark(Remark remark, const Header& header, const Record& record) override;
    bool entry(const Record& record, const char* entry_name, const char* link) override;

private:
    bool keep(const Record& record, const char* entry_name, const char* link);
    bool template_exists(const char* entry_name, const char* link);
    poolstr* pooled(uint32_t link, const char* text);
    bool copy_allowed(size_t length);

    const char* name_;
    void* base_;
    MarkingReader index_;
    const char* root_;
    bool lost_ = false;
    // Names and distinct link strings of a well-formed index lie apart and are together shorter
    // than the file. Overlapping ones could make memory grow with its square.
    uint64_t copies_left_;
    base::HashTable<poolstr*> links_;  // by the hash of a link record's place
    uint32_t last_link_ = 0;
    poolstr* last_string_ = nullptr;
    std::string path_;
};

void Check::header(const Header& header) {
    // Nothing but the warning depends on it, and it costs more than the rest of the check: nobody
    // listens, nothing is computed.
    if (qxfsutil_debug_level < kLevelDetails) {
        return;
    }
    uint8_t expected[kChecksumSize];
    store32(expected, header.checksum);
    if (verify_checksum(base_, index_.size(), expected) != 0) {
        debug_print(kLevelDetails, "WARNING: wrong checksum '%s'\n", name_);
    }
}

void Check::remark(Remark remark, const Header& header, const Record& record) {
    switch (remark) {
        case Remark::wrongSignature:
            QXFS_DEBUG(kLevelFaults, "FATAL: wrong signature '%s' %08x\n", name_, header.signature);
            break;
        case Remark::noBuckets:
            QXFS_DEBUG(kLevelFaults, "FATAL: zero hash prime '%s'\n", name_);
            break;
        case Remark::badNamelen: {
            const std::string_view text = index_.name_to_end(record);
            QXFS_DEBUG(kLevelFaults, "FATAL: bad namelen %d for %.*s\n", record.namelen,
                       static_cast<int>(std::min<size_t>(text.size(), INT_MAX)), text.data());
            break;
        }
        case Remark::linkToHashTable:
            QXFS_DEBUG(kLevelFaults, "FATAL: link %u points to hash\n", record.link);
            break;
        default: {
            const Text text = text_of(remark);
            QXFS_DEBUG(text.level, "%s", text.words);
        }
    }
}

// Keeps the entry, unless its template file is lost.
bool Check::entry(const Record& record, const char* entry_name, const char* link) {
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
    const uint32_t hash = base::seededHash(link);
    poolstr* known = links_.find(hash, [](const poolstr*) { return true; });
    if (known == nullptr) {
        if (!copy_allowed(strlen(text))) {
            return nullptr;
        }
        known = pool_add(text);
        links_.add(hash, known);
    }
    last_link_ = link;
    last_string_ = known;
    return known;
}

bool Check::copy_allowed(size_t length) {
    if (length > copies_left_) {
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
    if (filled < size && mremap(mapping, size, filled, 0) == MAP_FAILED) {
        const int reason = errno;
        munmap(mapping, size);
        errno = reason;
        return nullptr;
    }
    return mapping;
}

}  // namespace

int verify_checksum(const void* base, size_t size, const void* expected) {
    MD5_CTX context;
    uint8_t digest[MD5_DIGEST_LENGTH];
    MD5Init(&context);
    MD5Update(&context, static_cast<const uint8_t*>(base), size);
    MD5Final(digest, &context);
    return std::memcmp(digest, expected, dirindex::kChecksumSize);
}

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
