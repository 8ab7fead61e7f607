// A small open-addressing table from 32-bit keys to pool strings, and the seeded hash for texts.
// Keys and texts may come from a hostile index, so both are spread by numbers drawn anew in each
// process: nobody can prepare ones that collide.
#ifndef SRC_DIRINDEX_TABLE_H
#define SRC_DIRINDEX_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "src/qxfsutil.h"

namespace dirindex {

uint32_t text_hash(std::string_view text);

// Several strings may stand under one key.
class StringTable {
public:
    StringTable();

    // The first string under a key that `matches` accepts; null without one.
    template <typename Matches>
    poolstr* find(uint32_t key, Matches matches) const {
        if (slots_.empty()) {
            return nullptr;
        }
        for (size_t i = place(key);; i = (i + 1) & mask_) {
            const Slot& slot = slots_[i];
            if (slot.string == nullptr || (slot.key == key && matches(*slot.string))) {
                return slot.string;
            }
        }
    }

    void add(uint32_t key, poolstr* string);
    // Frees the slots too.
    void clear();

private:
    struct Slot {
        uint32_t key;
        poolstr* string;
    };

    size_t place(uint32_t key) const { return (key * multiplier_ >> 32) & mask_; }
    void put(const Slot& slot);
    void grow();

    uint64_t multiplier_;
    size_t mask_ = 0;
    size_t used_ = 0;
    std::vector<Slot> slots_;
};

}  // namespace dirindex

#endif
