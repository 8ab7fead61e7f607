// Little-endian numbers, only for the reader and the writer of indexes.
#pragma once

#include <cstdint>

namespace dirindex {

// With shifts, so that the host's byte order does not matter; compilers make one load of it.
inline uint16_t load16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

inline uint32_t load32(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
           static_cast<uint32_t>(at[2]) << 16 | static_cast<uint32_t>(at[3]) << 24;
}

inline void store16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

inline void store32(uint8_t* at, uint32_t value) {
    store16(at, static_cast<uint16_t>(value));
    store16(at + 2, static_cast<uint16_t>(value >> 16));
}

}  // namespace dirindex
