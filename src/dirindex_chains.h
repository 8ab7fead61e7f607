// Following the chains of many buckets at a time.
//
// Neighbours in a chain lie far apart in memory: with a million entries, following one chain after
// the other waits for memory at every step. Chains that are followed in step ask for their next
// entries, and memory answers while the others have their turns.
#ifndef SRC_DIRINDEX_CHAINS_H
#define SRC_DIRINDEX_CHAINS_H

#include <array>

#include "src/qxfsutil.h"

namespace dirindex {

// What these chains hold is still in the processor's outer cache when it is met again.
inline constexpr unsigned kMaxChains = 32;

// Asks for the first and the last byte of an entry, which may lie in two cache lines. Functions
// that do nothing but this are always inlined: the compiler takes calls of them for useless and
// drops them.
[[gnu::always_inline]] inline void prefetch_entry(const dent* entry) {
    __builtin_prefetch(entry);
    __builtin_prefetch(reinterpret_cast<const char*>(entry + 1) - 1);
}

// Calls visit(chain, entry) for every entry of `chains` buckets (at most kMaxChains): the entries
// of a chain in order, the chains in turn. The entry that is visited may be freed. Its turn comes
// one round after it was reached, so that its name has come from memory as well.
template <typename Visit>
void follow_in_step(const bucket* buckets, unsigned chains, Visit visit) {
    struct Cursor {
        unsigned chain;
        dent* entry;
        dent* reached;
    };
    std::array<Cursor, kMaxChains> cursors{};
    unsigned open = 0;
    for (unsigned i = 0; i < chains; ++i) {
        if (buckets[i].head != nullptr) {
            cursors[open++] = {i, buckets[i].head, nullptr};
        }
    }
    // A chain that has ended takes no more turns: a single long one costs its own length only.
    while (open > 0) {
        unsigned kept = 0;
        for (unsigned i = 0; i < open; ++i) {
            const Cursor cursor = cursors[i];
            if (cursor.entry != nullptr) {
                dent* next = cursor.entry->next;
                __builtin_prefetch(cursor.entry->name);
                if (next != nullptr) {
                    prefetch_entry(next);
                }
                cursors[kept++] = {cursor.chain, next, cursor.entry};
            }
            if (cursor.reached != nullptr) {
                visit(cursor.chain, cursor.reached);
            }
        }
        open = kept;
    }
}

}  // namespace dirindex

#endif
