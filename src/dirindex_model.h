// The entry list, pool and counters behind the exported data of the checker, for its own sources.
#ifndef SRC_DIRINDEX_MODEL_H
#define SRC_DIRINDEX_MODEL_H

#include <cstddef>
#include <cstdint>

#include "src/index/format.h"  // name_hash
#include "src/qxfsutil.h"

namespace dirindex {

// How every operation begins: counters 0, list and pool dropped, working directory remembered.
void begin_operation();

// Sets current_path; it becomes empty when the working directory cannot be read or is too long.
void remember_current_path();

// A new entry with a copy of the name, on no list yet. The length is that of the name, cut to 16
// bits.
dent* new_dent(uint8_t type, const char* name, size_t name_length, uint32_t ino, poolstr* link);

// Appends to dlist and counts in tot.
void append_dent(dent* entry);

}  // namespace dirindex

// What gethash computed last. Kept beside the result since callers may want it without the call.
extern uint32_t gethash_result;

#endif
