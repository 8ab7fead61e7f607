// Memory for the many small pieces of an index in memory. A million entries cost a few hundred
// calls of the allocator, and give their memory back as cheaply; each piece can still be released
// by itself.
#ifndef SRC_DIRINDEX_SLAB_H
#define SRC_DIRINDEX_SLAB_H

#include <cstddef>

namespace dirindex {

// A piece that stays valid until it is released. Memory exhaustion is not handled: as with the
// allocator's other callers here, the process ends.
void* slab_allocate(size_t size);

// Releases a piece, or frees memory that came from the allocator itself.
void slab_release(void* piece);

}  // namespace dirindex

#endif
