// The general hash of bytes that the library exports.
#include "src/dirindex_model.h"

uint32_t gethash_result;

namespace {

// gethash is defined with signed numbers. It is computed with unsigned numbers, whose overflow is
// defined; the signs are added explicitly.
uint32_t arithmetic_shift(uint32_t value, int count) {
    return static_cast<uint32_t>(static_cast<int32_t>(value) >> count);
}

uint32_t sign_extended(char byte) {
    return static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(byte)));
}

void mix(uint32_t& a, uint32_t& b, uint32_t& c) {
    a = (a - b - c) ^ arithmetic_shift(c, 13);
    b = (b - c - a) ^ (a << 8);
    c = (c - a - b) ^ arithmetic_shift(b, 13);
    a = (a - b - c) ^ arithmetic_shift(c, 12);
    b = (b - c - a) ^ (a << 16);
    c = (c - a - b) ^ arithmetic_shift(b, 5);
    a = (a - b - c) ^ arithmetic_shift(c, 3);
    b = (b - c - a) ^ (a << 10);
    c = (c - a - b) ^ arithmetic_shift(b, 15);
}

// Adds up to 4 signed bytes, the first one lowest.
uint32_t sum_of(const char* bytes, size_t count) {
    uint32_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        sum += sign_extended(bytes[i]) << (8 * i);
    }
    return sum;
}

}  // namespace

uint32_t gethash(const char* data, size_t length) {
    constexpr uint32_t kGoldenRatio = 0x9E3779B9;
    constexpr size_t kBlock = 12;
    uint32_t a = kGoldenRatio;
    uint32_t b = kGoldenRatio;
    uint32_t c = 0;
    size_t left = length;
    for (; left >= kBlock; left -= kBlock, data += kBlock) {
        a += sum_of(data, 4);
        b += sum_of(data + 4, 4);
        c += sum_of(data + 8, 4);
        mix(a, b, c);
    }
    c += static_cast<uint32_t>(length);
    a += sum_of(data, left < 4 ? left : 4);
    if (left > 4) {
        b += sum_of(data + 4, left < 8 ? left - 4 : 4);
    }
    if (left > 8) {
        // The lowest byte of c holds the length.
        c += sum_of(data + 8, left - 8) << 8;
    }
    mix(a, b, c);
    gethash_result = c;
    return c;
}
