// Decodes and encodes directory indexes.
#include "src/index/index_file.h"

#include <md5.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "base/content.h"
#include "base/durable.h"
#include "base/name_table.h"
#include "src/index/bytes.h"
#include "src/index/record_writer.h"
#include "src/index/structure.h"

namespace dirindex {

namespace {

/// The first bytes of the digest of an index whose checksum's field is zeroed.
std::uint32_t sumOf(std::string_view bytes) {
    std::uint8_t digest[MD5_DIGEST_LENGTH];
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    MD5Final(digest, &context);
    return load32(digest);
}

ChecksumState checksumOf(std::string_view bytes, std::uint32_t found) {
    if (sumOf(bytes) == found) {
        return ChecksumState::good;
    }
    return found == sumOf({}) ? ChecksumState::absent : ChecksumState::wrong;
}

/// Gathers the entries of an index.
class Collector : public CheckListener {
public:
    Collector(IndexFile& index, std::string_view bytes)
        : m_index(index), m_bytes(bytes), m_copiesLeft(bytes.size()) {}

    void header(const Header& header) override {
        m_index.checksum = checksumOf(m_bytes, header.checksum);
    }

    bool entry(const Record& record, const char* name, const char* link) override {
        IndexEntry& entry = m_index.entries.emplace_back();
        entry.type = record.type;
        entry.ino = record.ino;
        if (!copyAllowed(name) || (link != nullptr && !place(record.link, link))) {
            return false;
        }
        entry.name = name;
        if (link != nullptr) {
            entry.link = m_lastText;
        }
        return true;
    }

private:
    /// Names and distinct link strings of a written index lie apart. Overlapping ones could make
    /// memory grow with the square of the file.
    bool copyAllowed(const char* text) {
        const std::size_t length = std::strlen(text);
        const bool allowed = length <= m_copiesLeft;
        m_copiesLeft -= allowed ? length : 0;
        return allowed;
    }

    /// Makes m_lastText the text of a link record. Entries of one mostly follow each other.
    bool place(std::uint32_t link, const char* text) {
        if (link == m_lastLink) {
            return true;
        }
        const auto hash = base::seededHash(link);
        auto number = m_places.find(hash, [](std::uint32_t) { return true; });
        if (number == 0) {
            if (!copyAllowed(text)) {
                return false;
            }
            m_texts.emplace_back(text);
            number = static_cast<std::uint32_t>(m_texts.size());
            m_places.add(hash, number);
        }
        m_lastLink = link;
        m_lastText = m_texts[number - 1];
        return true;
    }

    IndexFile& m_index;
    std::string_view m_bytes;
    std::size_t m_copiesLeft;
    base::HashTable<std::uint32_t> m_places;  ///< numbers from 1 into m_texts
    std::vector<SharedText> m_texts;
    std::uint32_t m_lastLink = 0;
    SharedText m_lastText;
};

/// How many records an index has at most that can be listed.
std::size_t recordsIn(const Reader& reader) {
    std::size_t count = 0;
    std::uint64_t at = reader.header().start;
    while (at != 0 && reader.has_head(at) && reader.record(at).reclen >= kMinReclen) {
        ++count;
        at += reader.record(at).reclen;
    }
    return count;
}

/// The places of entries in the order of the file: bucket after bucket, each in the order given.
struct BucketOrder {
    explicit BucketOrder(const std::vector<IndexEntry>& entries)
        : prime(bucketsFor(entries.size())), ends(prime + 1), places(entries.size()) {
        std::vector<std::uint32_t> buckets;
        buckets.reserve(entries.size());
        for (const auto& entry : entries) {
            buckets.push_back(name_hash(entry.name.data(), entry.name.size()) % prime);
            ++ends[buckets.back() + 1];
        }
        for (unsigned bucket = 0; bucket < prime; ++bucket) {
            ends[bucket + 1] += ends[bucket];
        }
        std::vector<std::uint32_t> next(ends.begin(), ends.end() - 1);
        for (std::uint32_t place = 0; place < entries.size(); ++place) {
            places[next[buckets[place]]++] = place;
        }
    }

    unsigned prime;
    std::vector<std::uint32_t> ends;  ///< of the bucket before, that is, where each one begins
    std::vector<std::uint32_t> places;
};

/// Makes the bytes of an index: header, hash table, records, checksum.
class Encoder {
public:
    Encoder(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error)
        : m_entries(entries),
          m_bytes(bytes),
          m_error(error),
          m_order(entries),
          m_writer(kHeaderSize + kHashSlotSize * m_order.prime,
                   [&](const std::uint8_t* taken, std::size_t size) {
                       bytes.append(reinterpret_cast<const char*>(taken), size);
                       return true;
                   }) {}

    bool run() {
        m_bytes.assign(m_writer.end(), '\0');
        for (unsigned bucket = 0; bucket < m_order.prime; ++bucket) {
            const auto end = m_order.ends[bucket + 1];
            for (auto i = m_order.ends[bucket]; i < end; ++i) {
                const bool last = i + 1 == end;
                const bool lastOfAll = last && end == m_entries.size();
                const int flags = (last ? kLastOfBucket : 0) | (lastOfAll ? kLastOfFile : 0);
                if (!add(m_entries[m_order.places[i]], static_cast<std::uint8_t>(flags))) {
                    return false;
                }
                if (i == m_order.ends[bucket]) {
                    put32(kHashTableOffset + bucket * kHashSlotSize, m_writer.last());
                }
            }
        }
        m_writer.finish();
        put32(kSignatureOffset, kSignature);
        put32(kStartOffset, m_writer.first());
        put32(kDirsOffset, static_cast<std::uint64_t>(std::count_if(
                               m_entries.begin(), m_entries.end(), [](const IndexEntry& entry) {
                                   return entry.type == kTypeDirectory;
                               })));
        put32(kPrimeOffset, m_order.prime);
        put32(kChecksumOffset, sumOf(m_bytes));
        return true;
    }

private:
    bool add(const IndexEntry& entry, std::uint8_t flags) {
        Record record{0, entry.type, flags, static_cast<std::uint16_t>(entry.name.size()),
                      0, entry.ino,  0};
        std::optional<std::string_view> link;
        std::uint32_t hash = 0;
        if (entry.link.has_value()) {
            hash = base::seededHash(*entry.link);
            const auto known =
                m_links.find(hash, [&](const Link& other) { return *other.text == *entry.link; });
            record.link = known.offset;
            link =
                known.text == nullptr ? std::optional<std::string_view>(*entry.link) : std::nullopt;
        }
        const auto size = RecordWriter::sizeOf(entry.name.size(),
                                               link ? std::optional(link->size()) : std::nullopt);
        if (entry.name.size() > kMaxNamelen || size > kBlockSize) {
            m_error = (entry.name.size() > kMaxNamelen ? "the name " : "the entry ") +
                      escaped(entry.name) + " is too long for an index";
            return false;
        }
        if (!m_writer.add(record, entry.name, link)) {
            m_error = std::string("the index cannot be made: ") + std::strerror(errno);
            return false;
        }
        if (link) {
            m_links.add(hash, {&*entry.link, record.link});
        }
        return true;
    }

    void put32(std::uint64_t at, std::uint64_t value) {
        store32(reinterpret_cast<std::uint8_t*>(m_bytes.data()) + at,
                static_cast<std::uint32_t>(value));
    }

    struct Link {
        const std::string* text = nullptr;
        std::uint32_t offset = 0;
        bool operator==(const Link&) const = default;
    };

    const std::vector<IndexEntry>& m_entries;
    std::string& m_bytes;
    std::string& m_error;
    BucketOrder m_order;
    RecordWriter m_writer;
    base::HashTable<Link> m_links;
};

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
    if (found > entries) {
        return "names are found that no listing shows";
    }
    if (found < entries) {
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

IndexFile readIndexFile(int directory, const std::string& path) {
    auto bytes = base::readSuspect(directory, path, kMaxIndexSize);
    if (bytes && !bytes->empty()) {
        return decodeIndex(*std::move(bytes));
    }
    IndexFile index;
    // What no index can be is as good as a damaged one: it was read and says nothing.
    index.readable = bytes || errno == EFBIG;
    index.reason = bytes             ? "the file is empty"
                   : errno == EFBIG  ? "the file is too large"
                   : errno == EINVAL ? "not a regular file"
                                     : std::strerror(errno);
    return index;
}

IndexFile decodeIndex(std::string bytes) {
    IndexFile index;
    index.readable = true;
    index.size = bytes.size();
    MarkingReader reader(bytes.data(), bytes.size());
    const Header header = reader.header();
    index.prime = header.prime;
    index.directories = header.dirs;
    index.entries.reserve(recordsIn(reader));
    Collector collector(index, bytes);
    index.sound = checkStructure(reader, collector);
    if (index.sound) {
        index.unkeptPromise = unkeptPromiseOf(reader, header, index.entries.size());
    } else {
        index.entries = {};
        index.reason = "its structure does not hold";
    }
    return index;
}

bool buildIndex(const std::vector<IndexEntry>& entries, std::string& bytes, std::string& error) {
    return Encoder(entries, bytes, error).run();
}

bool replaceIndex(int directory, const std::vector<IndexEntry>& entries, std::string& error,
                  int staging) {
    std::string bytes;
    if (entries.empty()) {
        error = "an index without entries cannot be read";
        return false;
    }
    const auto write = [&](int where) {
        return base::writeFileDurably(directory, kIndexName, bytes, 0644, kNewIndexName, where);
    };
    return buildIndex(entries, bytes, error) &&
           (write(staging) || (staging >= 0 && errno == EXDEV && write(-1)) ||
            failed("write", kIndexName, error));
}

}  // namespace dirindex
