// Small pieces out of large aligned blocks; see dirindex_slab.h.
//
// A piece's block is found by its address, since blocks begin at multiples of their size; a set of
// the blocks tells pieces from memory that somebody else allocated. A block goes when its last
// piece goes.
#include "src/dirindex_slab.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <unordered_set>

namespace dirindex {
namespace {

// That of a huge page: entries are met in an order that makes every step a new small page.
constexpr uintptr_t kAlignment = uintptr_t{1} << 21;
// The whole of the aligned range: memory that somebody else allocated behind a shorter block would
// be taken for a piece of it.
constexpr size_t kBlockSize = kAlignment;
// Larger pieces would waste the rest of a block.
constexpr size_t kMaxPiece = 1024;

struct Block {
    size_t used;
    size_t live;
};

constexpr size_t kBlockHead = 16;
static_assert(sizeof(Block) <= kBlockHead);

class Slab {
public:
    void* allocate(size_t size) {
        size = (size + 7) & ~size_t{7};
        if (size > kMaxPiece) {
            return std::malloc(size);
        }
        if (current_ == nullptr || kBlockSize - current_->used < size) {
            start_block();
        }
        void* piece = reinterpret_cast<char*>(current_) + current_->used;
        current_->used += size;
        ++current_->live;
        return piece;
    }

    void release(void* piece) {
        const uintptr_t address = reinterpret_cast<uintptr_t>(piece);
        const uintptr_t base = address & ~(kAlignment - 1);
        // The allocator may have put something of others between this block's end and the next one.
        if (address - base >= kBlockSize || !is_block(base)) {
            std::free(piece);
            return;
        }
        auto* block = reinterpret_cast<Block*>(base);
        if (--block->live > 0) {
            return;
        }
        if (block == current_) {
            block->used = kBlockHead;
        } else {
            drop(block);
        }
    }

private:
    // Neighbours in a list mostly share a block, so the last answer is remembered.
    bool is_block(uintptr_t base) {
        if (base != last_ && blocks_.count(base) == 0) {
            return false;
        }
        last_ = base;
        return true;
    }

    void start_block() {
        auto* block = static_cast<Block*>(std::aligned_alloc(kAlignment, kBlockSize));
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        // The first block stays with small pages, of which a small index touches a few.
        if (!blocks_.empty()) {
            madvise(block, kAlignment, MADV_HUGEPAGE);
        }
        *block = {kBlockHead, 0};
        blocks_.insert(reinterpret_cast<uintptr_t>(block));
        current_ = block;
    }

    void drop(Block* block) {
        blocks_.erase(reinterpret_cast<uintptr_t>(block));
        last_ = 0;
        std::free(block);
    }

    Block* current_ = nullptr;
    uintptr_t last_ = 0;
    std::unordered_set<uintptr_t> blocks_;
};

Slab& slab() {
    // Never destroyed: an exit handler of the host may still call into the checker.
    static auto* instance = new Slab;
    return *instance;
}

}  // namespace

void* slab_allocate(size_t size) {
    return slab().allocate(size);
}

void slab_release(void* piece) {
    slab().release(piece);
}

}  // namespace dirindex
