// The only reader of the bytes of an index. Nothing else casts file bytes or computes with file
// offsets, and nothing here reads outside the file, whatever is in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "src/index/format.h"

namespace dirindex {

struct Header {
    uint32_t signature;
    uint32_t start;
    uint32_t dirs;
    uint32_t prime;
    uint32_t checksum;
};

// The head of a record and its offset.
struct Record {
    uint64_t offset;
    uint8_t type;
    uint8_t flags;
    uint16_t namelen;
    uint32_t reclen;
    uint32_t ino;
    uint32_t link;
};

// Reads an index in memory, which must outlive the reader and must not change.
class Reader {
public:
    Reader(const void* base, size_t size);

    uint64_t size() const { return size_; }

    // True if `length` bytes from `offset` on are inside the file.
    bool holds(uint64_t offset, uint64_t length) const {
        return offset <= size_ && length <= size_ - offset;
    }

    bool has_header() const { return holds(0, kHeaderSize); }
    // If the file is too short for a field, the missing bytes count as 0.
    Header header() const;

    // Number of the `prime` hash slots that are inside the file.
    uint64_t slots(uint32_t prime) const;
    // The slot of a bucket below slots().
    uint32_t slot(uint64_t bucket) const { return u32(kHashTableOffset + bucket * kHashSlotSize); }

    bool has_head(uint64_t offset) const { return holds(offset, kRecordHeadSize); }
    // The record at an offset that has_head() accepts.
    Record record(uint64_t offset) const;

    // True if the bytes that reclen counts, or the name with its padding, are inside the file.
    bool holds_record(const Record& record) const { return holds(record.offset, record.reclen); }
    bool holds_padded_name(const Record& record) const {
        return holds(record.offset, kRecordHeadSize + padded(record.namelen));
    }

    // The name up to its NUL; null if no NUL follows inside the file.
    const char* name(const Record& record) const { return text(record.offset + kRecordHeadSize); }
    // The name up to its NUL or the end of the file, for messages about a wrong name.
    std::string_view name_to_end(const Record& record) const;

    // The text of the link record at `link` up to its NUL; null if the length word or the text is
    // not inside the file. The length word is ignored.
    const char* link_text(uint32_t link) const { return text(uint64_t{link} + kTextInLinkRecord); }

private:
    uint32_t u32(uint64_t offset) const;
    // A text ends inside the file if it begins at or before the last NUL.
    const char* text(uint64_t offset) const {
        return offset < text_end_ ? reinterpret_cast<const char*>(bytes_ + offset) : nullptr;
    }

protected:
    const uint8_t* bytes_;
    uint64_t size_;
    // One past the last NUL byte, or 0: a limit for every text in constant time.
    uint64_t text_end_;

    void find_text_end(uint64_t below);
};

// A reader that may also change what the check needs to change, in its private copy.
class MarkingReader : public Reader {
public:
    MarkingReader(void* base, size_t size)
        : Reader(base, size), writable_(static_cast<uint8_t*>(base)) {}

    void clear_checksum();

    // Sets the visited flag of a record.
    void mark_visited(const Record& record) {
        const uint64_t offset = record.offset + kFlagsInRecord;
        writable_[offset] |= kVisited;
        if (offset + 1 == text_end_) {
            find_text_end(offset);
        }
    }

private:
    uint8_t* writable_;
};

}  // namespace dirindex
