// Usage of a private area, and the limits of its container.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "layout/container_config.h"

namespace qxquota {

/// Container parameters that hold limits: "soft:hard", or one number for both; 0 or no parameter
/// means no limit. Blocks count 1024 bytes.
inline constexpr const char* kBlockLimits = "DISKSPACE";
inline constexpr const char* kInodeLimits = "DISKINODES";

/// The largest number that the fixed columns of the output hold.
inline constexpr std::uint64_t kMaxNumber = 99999999999999;

/// A resource: what is used, and the two limits (0: none).
struct Quota {
    std::uint64_t used = 0;
    std::uint64_t soft = 0;
    std::uint64_t hard = 0;
};

struct Quotas {
    Quota blocks;
    Quota inodes;
};

/// Counts the blocks and inodes of a tree, its top included. Files with several names count once.
/// Links are not followed; other file systems mounted below and files that are removed meanwhile do
/// not count. @return false with the reason in `error`.
bool measure(const std::string& area, Quotas& quotas, std::string& error);

/// Reads both limits. @return false with "PARAMETER: reason" in `error`.
bool readLimits(const qxnode::ContainerConfig& config, Quotas& quotas, std::string& error);

}  // namespace qxquota
