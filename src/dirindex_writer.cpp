// Writes an index from the hash table: header, records in bucket order, table, checksum. The
// header's start and the table are written when all records are placed.
#include <md5.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "src/common.h"
#include "src/dirindex_chains.h"
#include "src/index/bytes.h"
#include "src/index/record_writer.h"

namespace {

using namespace dirindex;

int seek(FILE* stream, uint64_t offset) {
    return fseeko(stream, static_cast<off_t>(offset), SEEK_SET);
}

int write_all(FILE* stream, const void* bytes, size_t size) {
    return size == 0 || fwrite(bytes, 1, size, stream) == size ? 0 : -1;
}

int write_u32_at(FILE* stream, uint64_t offset, uint32_t value) {
    uint8_t bytes[4];
    store32(bytes, value);
    return seek(stream, offset) == 0 ? write_all(stream, bytes, sizeof bytes) : -1;
}

// Collects the entries of `chains` buckets from `first` on, in bucket order.
void gather(unsigned first, unsigned chains, std::vector<dent*>& order) {
    std::array<size_t, kMaxChains> slot{};
    size_t total = 0;
    for (unsigned i = 0; i < chains; ++i) {
        slot[i] = total;
        total += ht[first + i].count;
    }
    order.resize(total);
    follow_in_step(ht + first, chains,
                   [&](unsigned chain, dent* entry) { order[slot[chain]++] = entry; });
}

// Asks for what the records behind the i-th need: entries, and later, when the entry says where
// they are, the name and the link string.
[[gnu::always_inline]] inline void prefetch_behind(const std::vector<dent*>& order, size_t i) {
    constexpr size_t kEntriesAhead = 24;
    constexpr size_t kNamesAhead = 12;
    constexpr size_t kLinksAhead = 6;
    if (i + kEntriesAhead < order.size()) {
        prefetch_entry(order[i + kEntriesAhead]);
    }
    if (i + kNamesAhead < order.size()) {
        __builtin_prefetch(order[i + kNamesAhead]->name);
    }
    if (i + kLinksAhead < order.size()) {
        __builtin_prefetch(order[i + kLinksAhead]->poolstr);
    }
}

// Writes the record of an entry; false with errno.
bool write_entry(RecordWriter& writer, dent& entry, bool last_of_bucket) {
    std::optional<std::string_view> new_link;
    if (entry.poolstr != nullptr && entry.poolstr->offset == 0) {
        new_link = entry.poolstr->text;
    }
    const std::string_view name(entry.name, strnlen(entry.name, entry.namelen));
    if (RecordWriter::sizeOf(entry.namelen, new_link ? std::optional(new_link->size())
                                                     : std::nullopt) > kBlockSize) {
        QXFS_DEBUG(common::kLevelBasic, "too long entry '%s'\n", entry.name);
    }
    uint8_t flags = entry.flags;
    if (last_of_bucket) {
        flags |= emitted + 1 == tot ? kLastOfBucket | kLastOfFile : kLastOfBucket;
    }
    Record record{0,
                  entry.type,
                  flags,
                  entry.namelen,
                  entry.reclen,
                  entry.ino,
                  entry.poolstr != nullptr ? entry.poolstr->offset : entry.link};
    if (!writer.add(record, name, new_link)) {
        return false;
    }
    entry.flags = flags;
    entry.link = record.link;
    if (new_link) {
        entry.poolstr->offset = record.link;
    }
    return true;
}

// Ends the file behind the last record and tells the header where the records start. With no record
// there is nothing to do.
int finish(FILE* stream, RecordWriter& writer) {
    const uint64_t end = writer.end();
    if (writer.first() == 0) {
        return 0;
    }
    if (!writer.finish() || fflush(stream) != 0) {
        return -1;
    }
    // A stream without descriptor (in memory) has nothing behind its end that could be cut off.
    const int descriptor = fileno(stream);
    if (descriptor >= 0 && ftruncate(descriptor, static_cast<off_t>(end)) != 0) {
        return -1;
    }
    if (write_u32_at(stream, kStartOffset, static_cast<uint32_t>(writer.first())) != 0) {
        return -1;
    }
    return seek(stream, end);
}

// The digest of the whole file, or of nothing when the stream cannot be read; false on a read
// error.
bool digest_file(FILE* stream, uint8_t (&digest)[MD5_DIGEST_LENGTH]) {
    MD5_CTX context;
    MD5Init(&context);
    if (__freadable(stream) != 0) {
        // Large pieces pass the stream's own buffer by.
        uint8_t piece[1 << 15];
        size_t size = 0;
        while ((size = fread(piece, 1, sizeof piece, stream)) > 0) {
            MD5Update(&context, piece, size);
        }
        if (ferror(stream) != 0) {
            return false;
        }
    }
    MD5Final(digest, &context);
    return true;
}

}  // namespace

int emit_header(FILE* stream) {
    uint8_t header[kHeaderSize] = {};
    store32(header + kSignatureOffset, kSignature);
    store32(header + kDirsOffset, dtot);
    store32(header + kPrimeOffset, prime);
    if (write_all(stream, header, sizeof header) != 0) {
        return -1;
    }
    return fseeko(stream, static_cast<off_t>(prime * kHashSlotSize), SEEK_CUR);
}

int emit_direntries(FILE* stream) {
    const off_t position = ftello(stream);
    if (position < 0) {
        return -1;
    }
    RecordWriter writer(static_cast<uint64_t>(position), [&](const uint8_t* bytes, size_t size) {
        return write_all(stream, bytes, size) == 0;
    });
    std::vector<dent*> order;
    for (unsigned first = 0; first < prime; first += kMaxChains) {
        const unsigned chains = std::min(kMaxChains, prime - first);
        gather(first, chains, order);
        size_t next = 0;
        for (unsigned i = first; i < first + chains; ++i) {
            for (uint32_t left = ht[i].count; left > 0; --left, ++next) {
                prefetch_behind(order, next);
                if (!write_entry(writer, *order[next], left == 1)) {
                    return -1;
                }
                if (left == ht[i].count) {
                    ht_emit[i] = static_cast<uint32_t>(writer.last());
                }
                ++emitted;
            }
        }
    }
    return finish(stream, writer);
}

int emit_hashtable(FILE* stream) {
    std::vector<uint8_t> table(prime * kHashSlotSize);
    for (unsigned i = 0; i < prime; ++i) {
        store32(&table[i * kHashSlotSize], ht_emit[i]);
    }
    return seek(stream, kHashTableOffset) == 0 ? write_all(stream, table.data(), table.size()) : -1;
}

int emit_checksum(FILE* stream) {
    // Errors of earlier writes show here at the latest, and are not to pass for read errors.
    if (ferror(stream) != 0 || fflush(stream) != 0 || seek(stream, 0) != 0) {
        return -1;
    }
    uint8_t digest[MD5_DIGEST_LENGTH];
    if (!digest_file(stream, digest)) {
        werror(errno, "read '%s'", current_path);
        clearerr(stream);
        return 0;
    }
    return seek(stream, kChecksumOffset) == 0 ? write_all(stream, digest, kChecksumSize) : -1;
}

int emit_dirindex(FILE* stream) {
    const bool written = emit_header(stream) == 0 && emit_direntries(stream) == 0 &&
                         emit_hashtable(stream) == 0 && emit_checksum(stream) == 0;
    return written ? fflush(stream) : -1;
}
