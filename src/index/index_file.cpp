// Reads and writes directory indexes through the library's own reader and writer.
#include "src/index/index_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/content.h"
#include "base/durable.h"
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

/// Looks at the checksum, which is that of the index with the checksum's field zeroed.
ChecksumState checksumOf(dirindex::MarkingReader& reader, std::string& bytes) {
    // The digest's bytes as a little-endian number, which is how the field is read.
    constexpr std::uint32_t kAbsentChecksum = 0xd98c1dd4;
    const auto found = reader.header().checksum;
    const unsigned char expected[dirindex::kChecksumSize] = {
        static_cast<unsigned char>(found), static_cast<unsigned char>(found >> 8),
        static_cast<unsigned char>(found >> 16), static_cast<unsigned char>(found >> 24)};
    reader.clear_checksum();
    const bool good = verify_checksum(bytes.data(), bytes.size(), expected) == 0;
    // The check of the structure warns of a wrong one, too, when its messages are shown.
    std::memcpy(bytes.data() + dirindex::kChecksumOffset, expected, sizeof expected);
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

std::string ofEntries(std::uint64_t some, std::size_t all) {
    return std::to_string(some) + " of " + std::to_string(all) + " entries ";
}

/// Whether a container's reader, which trusts the length of a name and reads a record from one
/// block, gets from a record what a check read.
bool readsAlike(const Reader& reader, const Record& record) {
    const auto inOneBlock = [](std::uint64_t begin, std::uint64_t size) {
        return begin / kBlockSize == (begin + size - 1) / kBlockSize;
    };
    const char* link = record.link != 0 ? reader.link_text(record.link) : nullptr;
    return std::strlen(reader.name(record)) == record.namelen &&
           inOneBlock(record.offset, kRecordHeadSize + padded(record.namelen)) &&
           (link == nullptr || inOneBlock(record.link, kTextInLinkRecord + std::strlen(link) + 1));
}

/// Says what IndexFile::unkeptPromise is for; `reader` has an index whose structure holds.
std::string unkeptPromiseOf(const Reader& reader, const Header& header, std::size_t entries) {
    std::uint64_t directories = 0;
    std::uint64_t listed = 0;
    bool ended = false;
    for (std::uint64_t at = header.start; at < reader.size();) {
        const Record record = reader.record(at);
        directories += record.type == kTypeDirectory ? 1 : 0;
        listed += ended || !readsAlike(reader, record) ? 0 : 1;
        ended = ended || (record.flags & kLastOfFile) != 0;
        at += record.reclen;
    }
    std::uint64_t found = 0;
    for (std::uint64_t bucket = 0; bucket < reader.slots(header.prime); ++bucket) {
        for (std::uint64_t at = reader.slot(bucket); at != 0;) {
            const Record record = reader.record(at);
            const std::string_view name = reader.name(record);
            found += name_hash(name.data(), name.size()) % header.prime == bucket ? 1 : 0;
            at = (record.flags & kLastOfBucket) != 0 ? 0 : at + record.reclen;
        }
    }
    if (found != entries) {
        return ofEntries(entries - found, entries) + "are not found by their names";
    }
    if (listed != entries || !ended) {
        return listed != entries ? ofEntries(entries - listed, entries) + "are not listed"
                                 : "its end is not marked";
    }
    if (directories != header.dirs) {
        return "it counts " + std::to_string(header.dirs) + " directories, not " +
               std::to_string(directories);
    }
    return {};
}

bool failed(const char* what, const std::string& path, std::string& error) {
    error = std::string("can't ") + what + " '" + path + "': " + std::strerror(errno);
    return false;
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

IndexFile readIndexFile(int directory, const std::string& path) {
    auto bytes = base::readSuspect(directory, path, kMaxIndexSize);
    if (bytes && !bytes->empty()) {
        return decodeIndex(*std::move(bytes));
    }
    IndexFile index;
    index.reason = bytes             ? "the file is empty"
                   : errno == EINVAL ? "not a regular file"
                                     : std::strerror(errno);
    return index;
}

IndexFile decodeIndex(std::string bytes) {
    IndexFile index;
    index.readable = true;
    index.size = bytes.size();
    dirindex::MarkingReader reader(bytes.data(), bytes.size());
    if (reader.has_header()) {
        index.prime = reader.header().prime;
        index.directories = reader.header().dirs;
        index.checksum = checksumOf(reader, bytes);
    }
    const int result = fsck_in_core("index", bytes.data(), bytes.size(), nullptr, nullptr);
    index.sound = result == 0;
    if (index.sound) {
        index.entries = takeEntries();
        index.unkeptPromise = unkeptPromiseOf(reader, reader.header(), index.entries.size());
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

bool replaceIndex(int directory, const std::vector<IndexEntry>& entries, std::string& error) {
    std::string bytes;
    if (!buildIndex(entries, bytes, error)) {
        return false;
    }
    const auto index = decodeIndex(bytes);
    if (!index.sound || index.checksum != ChecksumState::good ||
        index.entries.size() != entries.size()) {
        error = "the new index would not read back; an entry may be too long";
        return false;
    }
    return base::writeFileDurably(directory, kIndexName, bytes, 0644, kNewIndexName) ||
           failed("write", kIndexName, error);
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

}  // namespace dirindex
