// Reads and writes directory indexes through the library's own reader and writer.
#include "src/index/index_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/fd.h"
#include "base/open_below.h"
#include "src/dirindex_format.h"
#include "src/dirindex_model.h"
#include "src/dirindex_reader.h"
#include "src/qxfsutil.h"

namespace dirindex {

namespace {

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

/// The bytes of an index in memory that may be written to. Most indexes are small: to read one
/// costs less than to map it and have its pages copied.
class IndexBytes {
public:
    /// Without a base, and with errno, when the file cannot be read; EINVAL for an empty one.
    explicit IndexBytes(const std::string& path) {
        constexpr off_t kReadBelow = off_t{256} << 10;
        struct stat info {};
        const base::Fd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (!file || fstat(file.get(), &info) != 0) {
            return;
        }
        if (!S_ISREG(info.st_mode) || info.st_size >= kReadBelow) {
            m_mapped = mmap_file(path.c_str(), &info);
            m_base = static_cast<char*>(m_mapped);
            m_size = static_cast<std::size_t>(info.st_size);
        } else if (read(file.get(), static_cast<std::size_t>(info.st_size))) {
            m_base = buffer().data();
        }
    }
    IndexBytes(const IndexBytes&) = delete;
    IndexBytes& operator=(const IndexBytes&) = delete;
    ~IndexBytes() {
        if (m_mapped != nullptr) {
            munmap(m_mapped, m_size);
        }
    }

    [[nodiscard]] char* base() const { return m_base; }
    [[nodiscard]] std::size_t size() const { return m_size; }

private:
    /// One for all: the library looks at one index at a time.
    static std::vector<char>& buffer() {
        static std::vector<char> bytes;
        return bytes;
    }

    bool read(int file, std::size_t size) {
        buffer().resize(std::max(size, buffer().size()));
        ssize_t got = 1;
        while (m_size < size && got > 0) {
            got = pread(file, buffer().data() + m_size, size - m_size, static_cast<off_t>(m_size));
            m_size += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        if (got >= 0 && m_size == 0) {
            errno = EINVAL;
        }
        return got >= 0 && m_size > 0;
    }

    void* m_mapped = nullptr;
    char* m_base = nullptr;
    std::size_t m_size = 0;
};

/// Looks at the checksum, which is that of the index with the checksum's field zeroed.
ChecksumState checksumOf(dirindex::MarkingReader& reader, const IndexBytes& bytes) {
    // The digest's bytes as a little-endian number, which is how the field is read.
    constexpr std::uint32_t kAbsentChecksum = 0xd98c1dd4;
    const auto found = reader.header().checksum;
    const unsigned char expected[dirindex::kChecksumSize] = {
        static_cast<unsigned char>(found), static_cast<unsigned char>(found >> 8),
        static_cast<unsigned char>(found >> 16), static_cast<unsigned char>(found >> 24)};
    reader.clear_checksum();
    const bool good = verify_checksum(bytes.base(), bytes.size(), expected) == 0;
    // The check of the structure warns of a wrong one, too, when its messages are shown.
    std::memcpy(bytes.base() + dirindex::kChecksumOffset, expected, sizeof expected);
    if (good) {
        return ChecksumState::good;
    }
    return found == kAbsentChecksum ? ChecksumState::absent : ChecksumState::wrong;
}

/// Hands the entries to the library's writer.
void giveEntries(const std::vector<IndexEntry>& entries) {
    dirindex::begin_operation();
    for (const auto& entry : entries) {
        auto* link = entry.link.has_value() ? pool_add(entry.link->c_str()) : nullptr;
        dirindex::append_dent(
            dirindex::new_dent(entry.type, entry.name.data(), entry.name.size(), entry.ino, link));
        dtot += entry.type == dirindex::kTypeDirectory ? 1 : 0;
    }
}

bool writeEntries(const std::vector<IndexEntry>& entries, std::FILE* stream, std::string& error) {
    for (const auto& entry : entries) {
        if (entry.name.size() > dirindex::kMaxNamelen) {
            error = "the name " + escaped(entry.name) + " is too long for an index";
            return false;
        }
    }
    giveEntries(entries);
    select_prime();
    create_hash_table();
    const bool written = emit_dirindex(stream) == 0 && std::fflush(stream) == 0;
    const int failure = errno;
    clean_memory();
    if (!written) {
        error = std::string("can't write the index: ") + std::strerror(failure);
    }
    return written;
}

bool failed(const char* what, const std::string& path, std::string& error) {
    error = std::string("can't ") + what + " '" + path + "': " + std::strerror(errno);
    return false;
}

/// A written index counts only when it reads back as what was meant.
bool holds(const std::string& path, const std::vector<IndexEntry>& entries, std::string& error) {
    const auto index = readIndexFile(path);
    if (index.sound && index.checksum == ChecksumState::good &&
        index.entries.size() == entries.size()) {
        return true;
    }
    error = "the index written to '" + path + "' does not read back; an entry may be too long";
    return false;
}

bool writeNewIndex(const std::string& path, const std::vector<IndexEntry>& entries,
                   std::string& error) {
    const int descriptor =
        open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return failed("create", path, error);
    }
    const Stream stream(fdopen(descriptor, "w+"));
    if (stream == nullptr) {
        close(descriptor);
        return failed("open", path, error);
    }
    return writeEntries(entries, stream.get(), error) &&
           (fsync(descriptor) == 0 || failed("flush", path, error));
}

bool flushDirectory(const std::string& path) {
    const base::Fd directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory && fsync(directory.get()) == 0;
}

}  // namespace

std::vector<IndexEntry> takeEntries() {
    std::vector<IndexEntry> entries;
    entries.reserve(tot);
    // Entries of one link string mostly follow each other.
    const poolstr* lastString = nullptr;
    SharedText lastLink;
    for (const auto* dentry = dlist; dentry != nullptr; dentry = dentry->next) {
        IndexEntry& entry = entries.emplace_back();
        entry.type = dentry->type;
        entry.ino = dentry->ino;
        entry.name.assign(dentry->name, dentry->namelen);
        if (dentry->poolstr != nullptr) {
            if (dentry->poolstr != lastString) {
                lastString = dentry->poolstr;
                lastLink = SharedText(lastString->text);
            }
            entry.link = lastLink;
        }
    }
    return entries;
}

IndexFile readIndexFile(const std::string& path) {
    IndexFile index;
    errno = 0;
    const IndexBytes bytes(path);
    if (bytes.base() == nullptr) {
        index.reason = errno == EINVAL ? "the file is empty" : std::strerror(errno);
        return index;
    }
    index.readable = true;
    index.size = bytes.size();
    dirindex::MarkingReader reader(bytes.base(), bytes.size());
    if (reader.has_header()) {
        index.prime = reader.header().prime;
        index.directories = reader.header().dirs;
        index.checksum = checksumOf(reader, bytes);
    }
    const int result = fsck_in_core(path.c_str(), bytes.base(), bytes.size(), nullptr, nullptr);
    index.sound = result == 0;
    if (index.sound) {
        index.entries = takeEntries();
    } else {
        index.reason = "its structure does not hold";
    }
    clean_memory();
    return index;
}

bool buildIndex(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error) {
    const Stream stream(std::tmpfile());
    if (stream == nullptr) {
        return failed("create", "a temporary file", error);
    }
    if (!writeEntries(entries, stream.get(), error)) {
        return false;
    }
    struct stat info {};
    if (fstat(fileno(stream.get()), &info) != 0) {
        return failed("look at", "a temporary file", error);
    }
    bytes.resize(static_cast<std::size_t>(info.st_size));
    const auto got = pread(fileno(stream.get()), bytes.data(), bytes.size(), 0);
    return got == info.st_size || failed("read", "a temporary file", error);
}

bool replaceIndex(const std::string& directory, const std::vector<IndexEntry>& entries,
                  std::string& error) {
    const auto fresh = directory + "/" + kNewIndexName;
    const auto place = directory + "/" + kIndexName;
    unlink(fresh.c_str());
    if (!writeNewIndex(fresh, entries, error) || !holds(fresh, entries, error)) {
        unlink(fresh.c_str());
        return false;
    }
    if (rename(fresh.c_str(), place.c_str()) != 0) {
        failed("rename", fresh, error);
        unlink(fresh.c_str());
        return false;
    }
    return flushDirectory(directory) || failed("flush", directory, error);
}

std::vector<IndexEntry> salvageEntries(const std::string& bytes) {
    std::vector<IndexEntry> entries;
    const dirindex::Reader reader(bytes.data(), bytes.size());
    for (std::uint64_t place = 0; reader.has_head(place); place += dirindex::kAlignment) {
        const auto record = reader.record(place);
        const char* name = reader.name(record);
        const char* link = (record.ino & 1U) != 0 ? reader.link_text(record.link) : nullptr;
        if (name == nullptr || link == nullptr || name[0] == '\0' ||
            strnlen(name, dirindex::kMaxNamelen + 1U) > dirindex::kMaxNamelen ||
            strnlen(link, dirindex::kBlockSize) == dirindex::kBlockSize ||
            std::strncmp(link, dirindex::kLinkPrefix, dirindex::kLinkPrefixLength) != 0) {
            continue;
        }
        entries.push_back({record.type, record.ino, name, link});
    }
    return entries;
}

bool readFile(const std::string& path, std::uint64_t limit, std::string& bytes) {
    auto file = base::openSuspect(path.c_str(), O_RDONLY);
    struct stat info {};
    if (!file || fstat(file.get(), &info) != 0) {
        return false;
    }
    if (!S_ISREG(info.st_mode) || static_cast<std::uint64_t>(info.st_size) > limit) {
        errno = S_ISREG(info.st_mode) ? EFBIG : EINVAL;
        return false;
    }
    bytes.resize(static_cast<std::size_t>(info.st_size));
    std::size_t done = 0;
    ssize_t got = 1;
    while (done < bytes.size() && got > 0) {
        got = read(file.get(), bytes.data() + done, bytes.size() - done);
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    bytes.resize(done);
    return got >= 0;
}

}  // namespace dirindex
