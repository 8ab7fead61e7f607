// Allocates small pieces from large aligned blocks; see dirindex_slab.h.
//
// Blocks begin at multiples of their size, so the address of a piece gives its block. A set of all
// blocks distinguishes pieces from other memory. A block is freed with its last piece.
#include "src/dirindex_slab.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <unordered_set>

namespace dirindex {
namespace {

// The size of a huge page: in hash order, nearly every entry is on another small page.
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
        // There may be memory of others between the end of this block and the next one.
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
    // Neighbours in a list are mostly in the same block, so remember the last result.
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
        // The first block uses small pages, because a small index needs only a few of them.
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
    // Never destroyed, because an exit handler of the host may still call the checker.
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
