// Writes an index from the hash table: header, records in bucket order, table, checksum.
//
// Records go through a buffer in memory. A record's reclen is known when the next one is placed, so
// the buffer always keeps the last record back. The header's start and the table are written when
// all records are placed.
#include <md5.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "src/common.h"
#include "src/dirindex_bytes.h"
#include "src/dirindex_chains.h"
#include "src/dirindex_format.h"

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

uint64_t round_up(uint64_t offset, uint64_t unit) {
    return (offset + unit - 1) / unit * unit;
}

// The file from the last written position on. Positions are those in the file.
class RecordBuffer {
public:
    RecordBuffer(FILE* stream, uint64_t position) : stream_(stream), base_(position) {
        bytes_.reserve(kFlushAt + 2 * kBlockSize);
    }

    uint64_t end() const { return base_ + bytes_.size(); }

    // Appends zeroed room up to a position and gives where it begins.
    uint8_t* extend_to(uint64_t position) {
        const size_t old = bytes_.size();
        bytes_.resize(position - base_);
        return bytes_.data() + old;
    }

    void patch32(uint64_t position, uint32_t value) { store32(&bytes_[position - base_], value); }

    // Writes what lies below `position` once it is worth a call; -1 when that fails.
    int release_below(uint64_t position) {
        return position - base_ >= kFlushAt ? write_below(position) : 0;
    }
    int flush() { return write_below(end()); }

private:
    static constexpr size_t kFlushAt = size_t{1} << 18;

    int write_below(uint64_t position) {
        const size_t size = position - base_;
        const int result = write_all(stream_, bytes_.data(), size);
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(size));
        base_ = position;
        return result;
    }

    FILE* stream_;
    uint64_t base_;
    std::vector<uint8_t> bytes_;
};

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

// Places and writes one record after the other.
class RecordWriter {
public:
    RecordWriter(FILE* stream, uint64_t position) : stream_(stream), buffer_(stream, position) {}

    // Gives where the record was placed; 0 with errno when the file cannot take it.
    uint64_t add(dent& entry, bool last_of_bucket) {
        const uint64_t name_room = padded(entry.namelen);
        uint64_t size = kRecordHeadSize + name_room;
        size_t link_length = 0;
        const bool places_link = entry.poolstr != nullptr && entry.poolstr->offset == 0;
        if (places_link) {
            link_length = std::strlen(entry.poolstr->text);
            size += kTextInLinkRecord + padded(link_length);
        }
        if (size > kBlockSize) {
            QXFS_DEBUG(common::kLevelBasic, "too long entry '%s'\n", entry.name);
        }
        uint64_t position = buffer_.end();
        if (position / kBlockSize != (position + size - 1) / kBlockSize) {
            position = round_up(position, kBlockSize);
        }
        if (position + size > UINT32_MAX) {
            errno = EFBIG;
            return 0;
        }
        if (link_previous_to(position) != 0) {
            return 0;
        }
        if (entry.poolstr != nullptr) {
            if (places_link) {
                entry.poolstr->offset =
                    static_cast<uint32_t>(position + kRecordHeadSize + name_room);
            }
            entry.link = entry.poolstr->offset;
        }
        if (last_of_bucket) {
            entry.flags |= emitted + 1 == tot ? kLastOfBucket | kLastOfFile : kLastOfBucket;
        }
        buffer_.extend_to(position);
        uint8_t* record = buffer_.extend_to(position + size);
        put_head(record, entry);
        std::memcpy(record + kRecordHeadSize, entry.name, strnlen(entry.name, entry.namelen));
        if (places_link) {
            uint8_t* link = record + kRecordHeadSize + name_room;
            store32(link + kLengthInLinkRecord, static_cast<uint32_t>(link_length));
            std::memcpy(link + kTextInLinkRecord, entry.poolstr->text, link_length);
        }
        return position;
    }

    // Ends the file behind the last record and tells the header where the records start. With no
    // record there is nothing to do.
    int finish() {
        if (previous_ == 0) {
            return 0;
        }
        const uint64_t end = buffer_.end();
        buffer_.patch32(previous_ + kReclenInRecord, static_cast<uint32_t>(end - previous_));
        if (buffer_.flush() != 0 || fflush(stream_) != 0) {
            return -1;
        }
        // A stream without descriptor (in memory) has nothing behind its end that could be cut off.
        const int descriptor = fileno(stream_);
        if (descriptor >= 0 && ftruncate(descriptor, static_cast<off_t>(end)) != 0) {
            return -1;
        }
        if (write_u32_at(stream_, kStartOffset, static_cast<uint32_t>(first_)) != 0) {
            return -1;
        }
        return seek(stream_, end);
    }

private:
    static void put_head(uint8_t* record, const dent& entry) {
        record[kTypeInRecord] = entry.type;
        record[kFlagsInRecord] = entry.flags;
        store16(record + kNamelenInRecord, entry.namelen);
        store32(record + kReclenInRecord, entry.reclen);
        store32(record + kInoInRecord, entry.ino);
        store32(record + kLinkInRecord, entry.link);
    }

    // The previous record, or the header's start, learns where the next one stands.
    int link_previous_to(uint64_t position) {
        int result = 0;
        if (previous_ == 0) {
            first_ = position;
        } else {
            buffer_.patch32(previous_ + kReclenInRecord,
                            static_cast<uint32_t>(position - previous_));
            result = buffer_.release_below(buffer_.end());
        }
        previous_ = position;
        return result;
    }

    FILE* stream_;
    RecordBuffer buffer_;
    uint64_t previous_ = 0;
    uint64_t first_ = 0;
};

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
    RecordWriter writer(stream, static_cast<uint64_t>(position));
    std::vector<dent*> order;
    for (unsigned first = 0; first < prime; first += kMaxChains) {
        const unsigned chains = std::min(kMaxChains, prime - first);
        gather(first, chains, order);
        size_t next = 0;
        for (unsigned i = first; i < first + chains; ++i) {
            for (uint32_t left = ht[i].count; left > 0; --left, ++next) {
                prefetch_behind(order, next);
                const uint64_t placed = writer.add(*order[next], left == 1);
                if (placed == 0) {
                    return -1;
                }
                if (left == ht[i].count) {
                    ht_emit[i] = static_cast<uint32_t>(placed);
                }
                ++emitted;
            }
        }
    }
    return writer.finish();
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
