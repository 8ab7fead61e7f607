// Makes directory indexes for tests, byte by byte, valid or not, without the checker's code.
#ifndef TESTS_SUPPORT_INDEX_IMAGE_H
#define TESTS_SUPPORT_INDEX_IMAGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

class IndexImage {
public:
    // A header with this bucket count and an empty hash table.
    explicit IndexImage(uint32_t prime = 1);
    // The bytes of an existing index.
    static IndexImage from_bytes(std::string bytes);

    // Appends a record of the smallest possible length and returns its offset. `link` is a link
    // string to put after the name; it may be empty. The first record becomes the start.
    uint32_t add(uint8_t type, std::string_view name, uint8_t flags, std::string_view link = {},
                 uint32_t ino = 2);

    IndexImage& set_byte(size_t offset, uint8_t value);
    IndexImage& set16(size_t offset, uint16_t value);
    IndexImage& set32(size_t offset, uint32_t value);
    IndexImage& set_start(uint32_t value) { return set32(4, value); }
    IndexImage& set_prime(uint32_t value) { return set32(12, value); }
    IndexImage& set_slot(uint32_t bucket, uint32_t offset) {
        return set32(20 + 4 * bucket, offset);
    }
    IndexImage& set_flags(uint32_t record, uint8_t value) { return set_byte(record + 1, value); }
    IndexImage& set_namelen(uint32_t record, uint16_t value) { return set16(record + 2, value); }
    IndexImage& set_reclen(uint32_t record, uint32_t value) { return set32(record + 4, value); }
    IndexImage& set_link(uint32_t record, uint32_t value) { return set32(record + 12, value); }
    IndexImage& truncate(size_t size);
    IndexImage& append(std::string_view bytes);
    // Sets the checksum.
    IndexImage& fix_checksum();

    uint8_t byte(size_t offset) const;
    uint16_t get16(size_t offset) const;
    uint32_t get32(size_t offset) const;
    size_t size() const { return bytes_.size(); }
    const std::string& bytes() const { return bytes_; }
    // A copy that a check may change.
    std::vector<uint8_t> writable_copy() const { return {bytes_.begin(), bytes_.end()}; }

private:
    std::string bytes_;
};

// The first 4 bytes of a text's MD5.
std::string md5_start(std::string_view bytes);

}  // namespace qx_test

#endif
