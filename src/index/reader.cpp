// The bounded reader of index files; see reader.h.
#include "src/index/reader.h"

#include <algorithm>
#include <cstring>

#include "src/index/bytes.h"

namespace dirindex {

Reader::Reader(const void* base, size_t size)
    : bytes_(static_cast<const uint8_t*>(base)), size_(size), text_end_(0) {
    find_text_end(size);
}

void Reader::find_text_end(uint64_t below) {
    const void* last = below > 0 ? memrchr(bytes_, 0, below) : nullptr;
    text_end_ = last != nullptr ? static_cast<const uint8_t*>(last) - bytes_ + 1 : 0;
}

uint32_t Reader::u32(uint64_t offset) const {
    return load32(bytes_ + offset);
}

Header Reader::header() const {
    uint8_t head[kHeaderSize] = {};
    if (size_ > 0) {
        std::memcpy(head, bytes_, std::min(size_, kHeaderSize));
    }
    return {load32(head + kSignatureOffset), load32(head + kStartOffset),
            load32(head + kDirsOffset), load32(head + kPrimeOffset),
            load32(head + kChecksumOffset)};
}

uint64_t Reader::slots(uint32_t prime) const {
    const uint64_t room = size_ > kHashTableOffset ? size_ - kHashTableOffset : 0;
    return std::min<uint64_t>(prime, room / kHashSlotSize);
}

Record Reader::record(uint64_t offset) const {
    const uint8_t* head = bytes_ + offset;
    return {offset,
            head[kTypeInRecord],
            head[kFlagsInRecord],
            load16(head + kNamelenInRecord),
            load32(head + kReclenInRecord),
            load32(head + kInoInRecord),
            load32(head + kLinkInRecord)};
}

std::string_view Reader::name_to_end(const Record& record) const {
    const uint64_t offset = record.offset + kRecordHeadSize;
    if (offset >= size_) {
        return {};
    }
    const auto* start = reinterpret_cast<const char*>(bytes_ + offset);
    return {start, strnlen(start, size_ - offset)};
}

void MarkingReader::clear_checksum() {
    std::memset(writable_ + kChecksumOffset, 0, kChecksumSize);
    // Zeroes may only move the end of texts back to where they stand when there was no NUL behind.
    text_end_ = std::max(text_end_, kChecksumOffset + kChecksumSize);
}

uint32_t name_hash(const char* name, size_t length) {
    uint32_t hash = 0;
    for (; length >= 4; length -= 4, name += 4) {
        uint8_t word[4];
        std::memcpy(word, name, sizeof word);
        hash = (hash << 4) ^ (hash >> 4) ^ load32(word);
    }
    // Signed on purpose: bytes from 0x80 on flip the upper 24 bits, and readers rely on it.
    for (; length > 0; --length, ++name) {
        hash = (hash << 4) ^ (hash >> 4) ^ static_cast<uint32_t>(static_cast<signed char>(*name));
    }
    return hash;
}

}  // namespace dirindex
