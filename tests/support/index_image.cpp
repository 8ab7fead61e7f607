// Hand-made directory indexes; see index_image.h.
#include "tests/support/index_image.h"

#include <md5.h>

#include <utility>

namespace qx_test {

IndexImage::IndexImage(uint32_t prime) : bytes_(20 + size_t{4} * prime, '\0') {
    set32(0, 0x402DE119).set_prime(prime);
}

IndexImage IndexImage::from_bytes(std::string bytes) {
    IndexImage image(1);
    image.bytes_ = std::move(bytes);
    return image;
}

uint32_t IndexImage::add(uint8_t type, std::string_view name, uint8_t flags, std::string_view link,
                         uint32_t ino) {
    const size_t at = bytes_.size();
    const auto offset = static_cast<uint32_t>(at);
    if (get32(4) == 0) {
        set_start(offset);
    }
    if (type == 4) {
        set32(8, get32(8) + 1);
    }
    bytes_.append(16, '\0').append(name).append(4 - name.size() % 4, '\0');
    set_byte(at, type).set_byte(at + 1, flags).set16(at + 2, static_cast<uint16_t>(name.size()));
    set32(at + 8, ino);
    if (!link.empty()) {
        const size_t link_at = bytes_.size();
        bytes_.append(4, '\0').append(link).append(4 - link.size() % 4, '\0');
        set32(link_at, static_cast<uint32_t>(link.size()));
        set_link(offset, static_cast<uint32_t>(link_at));
    }
    set_reclen(offset, static_cast<uint32_t>(bytes_.size() - at));
    return offset;
}

IndexImage& IndexImage::set_byte(size_t offset, uint8_t value) {
    bytes_.at(offset) = static_cast<char>(value);
    return *this;
}

IndexImage& IndexImage::set16(size_t offset, uint16_t value) {
    return set_byte(offset, value & 0xFF).set_byte(offset + 1, value >> 8);
}

IndexImage& IndexImage::set32(size_t offset, uint32_t value) {
    return set16(offset, value & 0xFFFF).set16(offset + 2, static_cast<uint16_t>(value >> 16));
}

IndexImage& IndexImage::truncate(size_t size) {
    bytes_.resize(size);
    return *this;
}

IndexImage& IndexImage::append(std::string_view bytes) {
    bytes_.append(bytes);
    return *this;
}

IndexImage& IndexImage::fix_checksum() {
    set32(16, 0);
    bytes_.replace(16, 4, md5_start(bytes_));
    return *this;
}

uint8_t IndexImage::byte(size_t offset) const {
    return static_cast<uint8_t>(bytes_.at(offset));
}

uint16_t IndexImage::get16(size_t offset) const {
    return static_cast<uint16_t>(byte(offset) | byte(offset + 1) << 8);
}

uint32_t IndexImage::get32(size_t offset) const {
    return get16(offset) | static_cast<uint32_t>(get16(offset + 2)) << 16;
}

std::string md5_start(std::string_view bytes) {
    MD5_CTX context;
    uint8_t digest[MD5_DIGEST_LENGTH];
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    MD5Final(digest, &context);
    return {reinterpret_cast<const char*>(digest), 4};
}

}  // namespace qx_test
