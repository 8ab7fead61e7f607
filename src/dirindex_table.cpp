// The table from keys to pool strings; see dirindex_table.h.
#include "src/dirindex_table.h"

#include <sys/random.h>

#include <cstring>

namespace dirindex {
namespace {

// Drawn once; without a source of chance the constant serves, and only speed is at stake.
uint64_t process_seed() {
    static const uint64_t seed = [] {
        uint64_t drawn = 0x9E3779B97F4A7C15;
        if (getrandom(&drawn, sizeof drawn, GRND_NONBLOCK) != sizeof drawn) {
            drawn = 0x9E3779B97F4A7C15;
        }
        return drawn | 1;
    }();
    return seed;
}

uint64_t mixed(uint64_t hash, uint64_t word) {
    hash = (hash ^ word) * process_seed();
    return hash ^ hash >> 32;
}

}  // namespace

uint32_t text_hash(std::string_view text) {
    uint64_t hash = text.size();
    while (text.size() >= sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        hash = mixed(hash, word);
        text.remove_prefix(sizeof word);
    }
    uint64_t rest = 0;
    std::memcpy(&rest, text.data(), text.size());
    hash = mixed(hash, rest);
    return static_cast<uint32_t>(hash ^ hash >> 32);
}

StringTable::StringTable() : multiplier_(process_seed()) {}

void StringTable::add(uint32_t key, poolstr* string) {
    if (2 * (used_ + 1) > slots_.size()) {
        grow();
    }
    put({key, string});
    ++used_;
}

void StringTable::clear() {
    std::vector<Slot>().swap(slots_);
    mask_ = 0;
    used_ = 0;
}

void StringTable::put(const Slot& slot) {
    size_t i = place(slot.key);
    while (slots_[i].string != nullptr) {
        i = (i + 1) & mask_;
    }
    slots_[i] = slot;
}

void StringTable::grow() {
    constexpr size_t kFirstSize = 16;
    const std::vector<Slot> old(std::move(slots_));
    slots_.assign(old.empty() ? kFirstSize : 4 * old.size(), {0, nullptr});
    mask_ = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.string != nullptr) {
            put(slot);
        }
    }
}

}  // namespace dirindex
