// Names that have one and the same hash for a hash that everybody knows.
#pragma once

#include <string>
#include <vector>

namespace qx_test {

/// So many different names of 8 bytes. The lowest 32 bits of std::hash are the same for all with
/// `colliding`, and random otherwise.
std::vector<std::string> namesOfEightBytes(std::size_t count, bool colliding);

}  // namespace qx_test
