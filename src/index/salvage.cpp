// Reads damaged indexes, within the file whatever it holds.
#include "src/index/salvage.h"

#include <md5.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "src/index/format.h"
#include "src/index/reader.h"

namespace dirindex {

namespace {

/// Above this the search for a bit takes seconds: it reads the file once for each bit of it.
constexpr std::size_t kMaxMended = std::size_t{8} << 10;

bool isPossibleName(std::string_view name) {
    return !name.empty() && name.size() <= kMaxNamelen && name.find('/') == std::string_view::npos;
}

/// The link string of a record; empty when it cannot be one.
std::string_view linkOf(const Reader& reader, const Record& record) {
    const char* text =
        record.link % kAlignment == 0 && record.link != 0 ? reader.link_text(record.link) : nullptr;
    const std::string_view link(text == nullptr ? "" : text,
                                text == nullptr ? 0 : strnlen(text, kBlockSize));
    return link.starts_with(kLinkPrefix) && link.size() < kBlockSize ? link : std::string_view();
}

/// Reads the record at a place where a head fits. @return false for none.
bool readRecord(const Reader& reader, const Record& record, SalvagedRecord& found) {
    const char* name = reader.name(record);
    found.name = name == nullptr ? std::string_view()
                                 : std::string_view(name, strnlen(name, kMaxNamelen + 1U));
    if (!isPossibleName(found.name)) {
        return false;
    }
    found.type = record.type;
    found.ino = record.ino;
    found.link = linkOf(reader, record);
    found.linkPlace = record.link;
    const bool linked = !found.link.empty();
    const auto least = kRecordHeadSize + padded(record.namelen);
    found.whole = linked == (record.link != 0) && linked == ((record.ino & 1U) != 0) &&
                  (record.flags & kReservedFlags) == 0 && record.namelen == found.name.size() &&
                  record.reclen >= least && record.reclen <= kMaxReclen &&
                  record.reclen % kAlignment == 0 && reader.holds_record(record) &&
                  (!linked || least + kTextInLinkRecord + padded(found.link.size()) <= kMaxReclen);
    return found.whole || linked;
}

/// The place of the first record: as the header says, or behind one of the tables that are written.
std::uint64_t firstRecord(const Reader& reader) {
    const auto begins = [&](std::uint64_t place) {
        SalvagedRecord found;
        return place >= kHashTableOffset && place % kAlignment == 0 && reader.has_head(place) &&
               readRecord(reader, reader.record(place), found) && found.whole;
    };
    for (const std::uint64_t place :
         {std::uint64_t{reader.header().start}, kHashTableOffset + kHashSlotSize * kPrimeSmall,
          kHashTableOffset + kHashSlotSize * kPrimeMiddle,
          (kHashTableOffset + kHashSlotSize * kPrimeLarge + kBlockSize - 1) & ~(kBlockSize - 1),
          kHashTableOffset + kHashSlotSize * kPrimeLarge}) {
        if (begins(place)) {
            return place;
        }
    }
    return kHeaderSize;
}

class Digest {
public:
    Digest() { MD5Init(&m_context); }
    void add(const char* bytes, std::size_t size) {
        MD5Update(&m_context, reinterpret_cast<const std::uint8_t*>(bytes), size);
    }
    [[nodiscard]] std::uint32_t value() const {
        auto context = m_context;
        std::array<std::uint8_t, MD5_DIGEST_LENGTH> digest;
        MD5Final(digest.data(), &context);
        std::uint32_t first = 0;
        std::memcpy(&first, digest.data(), sizeof first);
        return first;
    }

private:
    MD5_CTX m_context;
};

}  // namespace

bool salvageRecords(std::string_view bytes,
                    const std::function<void(const SalvagedRecord&)>& visit) {
    const Reader reader(bytes.data(), bytes.size());
    auto place = firstRecord(reader);
    bool complete = place != kHeaderSize;
    while (reader.has_head(place)) {
        const auto record = reader.record(place);
        SalvagedRecord found;
        const bool any = readRecord(reader, record, found);
        if (any) {
            visit(found);
        }
        complete = complete && any && found.whole;
        place += any && found.whole ? record.reclen : kAlignment;
    }
    return complete && place == bytes.size();
}

bool mendFlippedBit(std::string& bytes) {
    if (bytes.size() < kHeaderSize || bytes.size() > kMaxMended) {
        return false;
    }
    std::uint32_t wanted = 0;
    std::memcpy(&wanted, bytes.data() + kChecksumOffset, sizeof wanted);
    auto mended = bytes;
    std::memset(mended.data() + kChecksumOffset, 0, kChecksumSize);
    constexpr std::size_t kDigestBlock = 64;
    Digest before;  // of all blocks before the one with the bit
    for (std::size_t block = 0; block < mended.size(); block += kDigestBlock) {
        const auto length = std::min(kDigestBlock, mended.size() - block);
        for (std::size_t bit = 0; bit < length * 8; ++bit) {
            char& byte = mended[block + bit / 8];
            const char flipped = static_cast<char>(1U << (bit % 8));
            byte = static_cast<char>(byte ^ flipped);
            auto digest = before;
            digest.add(mended.data() + block, mended.size() - block);
            if (digest.value() == wanted) {
                std::memcpy(mended.data() + kChecksumOffset, &wanted, sizeof wanted);
                bytes = std::move(mended);
                return true;
            }
            byte = static_cast<char>(byte ^ flipped);
        }
        before.add(mended.data() + block, length);
    }
    return false;
}

}  // namespace dirindex
