// The directory index on disk: all offsets, widths, flags and limits of the format.
// docs/dirindex-format.md describes it with pictures. All integers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dirindex {

// The file: header, hash table, records.
inline constexpr uint32_t kSignature = 0x402DE119;
inline constexpr uint64_t kSignatureOffset = 0;
inline constexpr uint64_t kStartOffset = 4;
inline constexpr uint64_t kDirsOffset = 8;
inline constexpr uint64_t kPrimeOffset = 12;
inline constexpr uint64_t kChecksumOffset = 16;
inline constexpr uint64_t kHeaderSize = 20;
inline constexpr uint64_t kHashTableOffset = kHeaderSize;
inline constexpr uint64_t kHashSlotSize = 4;
inline constexpr uint64_t kChecksumSize = 4;

// A record: head, name, and after the first record that uses a link string its link record.
inline constexpr uint64_t kTypeInRecord = 0;
inline constexpr uint64_t kFlagsInRecord = 1;
inline constexpr uint64_t kNamelenInRecord = 2;
inline constexpr uint64_t kReclenInRecord = 4;
inline constexpr uint64_t kInoInRecord = 8;
inline constexpr uint64_t kLinkInRecord = 12;
inline constexpr uint64_t kRecordHeadSize = 16;
inline constexpr uint64_t kLengthInLinkRecord = 0;
inline constexpr uint64_t kTextInLinkRecord = 4;
inline constexpr uint64_t kAlignment = 4;

// No record crosses a multiple of this, so the kernel reads each from a single page.
inline constexpr uint64_t kBlockSize = 4096;

inline constexpr uint8_t kLastOfBucket = 0x01;
inline constexpr uint8_t kLastOfFile = 0x02;
inline constexpr uint8_t kReservedFlags = 0xFC;
// Set by the checker in its private copy on records that the hash table reaches; never on disk.
inline constexpr uint8_t kVisited = 0x80;

inline constexpr uint32_t kMinReclen = kRecordHeadSize;
inline constexpr uint32_t kMaxReclen = kBlockSize;
inline constexpr uint16_t kMaxNamelen = 256;

inline constexpr uint8_t kTypeDirectory = 4;
// A link string is this prefix and a path below the template area's root.
inline constexpr char kLinkPrefix[] = "////";
inline constexpr size_t kLinkPrefixLength = sizeof kLinkPrefix - 1;

// Numbers of buckets: small, so that a small index fits into a block; else primes.
inline constexpr unsigned kPrimeSmall = 1;
inline constexpr unsigned kPrimeMiddle = 251;
inline constexpr unsigned kPrimeLarge = 1019;
inline constexpr unsigned kMaxEntriesSmall = 7;
inline constexpr unsigned kMaxEntriesMiddle = 255;

// Length of a text with its terminator and padding.
constexpr uint64_t padded(uint64_t text_length) {
    return (text_length + kAlignment) & ~(kAlignment - 1);
}

static_assert(kChecksumOffset + kChecksumSize == kHeaderSize);
static_assert(kLinkInRecord + sizeof(uint32_t) == kRecordHeadSize);
static_assert(padded(0) == 4 && padded(3) == 4 && padded(4) == 8);
static_assert((kVisited & kReservedFlags) == kVisited);

/// The hash of a name, without its terminator; the remainder selects the bucket.
std::uint32_t name_hash(const char* name, std::size_t length);

/// Number of buckets for this number of entries.
constexpr unsigned bucketsFor(std::uint64_t entries) {
    return entries <= kMaxEntriesSmall    ? kPrimeSmall
           : entries <= kMaxEntriesMiddle ? kPrimeMiddle
                                          : kPrimeLarge;
}

}  // namespace dirindex
