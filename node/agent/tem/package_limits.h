// Bounds of what one archive may hold, against archives that unpack without end.
#pragma once

#include <cstdint>

namespace QXA::tem {

struct PackageLimits {
    std::uint64_t entries = 1'000'000;
    std::uint64_t bytes = std::uint64_t{64} << 30;
};

}  // namespace QXA::tem
