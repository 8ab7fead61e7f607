// The hash that is another one in every process; see name_table.h.
#include "base/name_table.h"

#include <sys/random.h>

#include <cstring>

namespace base {

namespace {

// Without a source of chance the constant serves, and only speed is at stake.
std::uint64_t processSeed() {
    static const std::uint64_t seed = [] {
        constexpr std::uint64_t kFixed = 0x9E3779B97F4A7C15;
        std::uint64_t drawn = kFixed;
        if (getrandom(&drawn, sizeof(drawn), GRND_NONBLOCK) != sizeof(drawn)) {
            drawn = kFixed;
        }
        return drawn | 1;
    }();
    return seed;
}

std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * processSeed();
    return hash ^ hash >> 32;
}

// Tables use the lowest bits: these steps let every bit of the hash weigh in them.
std::uint32_t folded(std::uint64_t hash) {
    hash = (hash ^ hash >> 33) * 0xFF51AFD7ED558CCD;
    hash = (hash ^ hash >> 33) * 0xC4CEB9FE1A85EC53;
    return static_cast<std::uint32_t>(hash >> 32);
}

}  // namespace

std::uint32_t seededHash(std::string_view text) {
    std::uint64_t hash = text.size();
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof(word));
        hash = mixed(hash, word);
        text.remove_prefix(sizeof(word));
    }
    std::uint64_t rest = 0;
    std::memcpy(&rest, text.data(), text.size());
    return folded(mixed(hash, rest));
}

std::uint32_t seededHash(std::uint32_t number) {
    // Steps that can be taken back: products with odd numbers, and halves laid over each other.
    const auto seed = processSeed();
    number = (number ^ static_cast<std::uint32_t>(seed >> 32)) * static_cast<std::uint32_t>(seed);
    return (number ^ number >> 16) * static_cast<std::uint32_t>(seed >> 16 | 1);
}

}  // namespace base
