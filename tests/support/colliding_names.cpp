// Makes names by taking the steps of the standard library's hash back; see colliding_names.h.
#include "tests/support/colliding_names.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string_view>

namespace qx_test {

namespace {

constexpr std::uint64_t kFactor = 0xC6A4A7935BD1E995;
constexpr std::uint64_t kSeed = 0xC70F6907;

/// What an odd number must be multiplied with to give 1; each step doubles the bits that are right.
constexpr std::uint64_t inverseOf(std::uint64_t odd) {
    std::uint64_t inverse = odd;
    for (int step = 0; step < 6; ++step) {
        inverse *= 2 - odd * inverse;
    }
    return inverse;
}

/// Its own inverse, since it shifts by more than half.
std::uint64_t shifted(std::uint64_t value) {
    return value ^ value >> 47;
}

std::string nameOfHash(std::uint64_t hash) {
    constexpr std::uint64_t kBack = inverseOf(kFactor);
    hash = shifted(shifted(hash) * kBack) * kBack;
    hash ^= kSeed ^ 8 * kFactor;
    hash = shifted(hash * kBack) * kBack;
    std::string name(8, '\0');
    std::memcpy(name.data(), &hash, name.size());
    return name;
}

}  // namespace

std::vector<std::string> namesOfEightBytes(std::size_t count, bool colliding) {
    std::mt19937_64 random(count);
    std::vector<std::string> names;
    while (names.size() < count) {
        const std::uint64_t chance = random();
        auto name = nameOfHash(colliding ? chance << 32 | 0x12345678 : chance);
        if (name.find('/') == std::string::npos && name.find('\0') == std::string::npos) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

}  // namespace qx_test
