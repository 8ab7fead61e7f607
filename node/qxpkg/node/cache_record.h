// "cache.toml": which folder below /qx/template/vc is the cache of an OS template.
#pragma once

#include <optional>
#include <string>

namespace qxpkg {

struct CacheRecord {
    std::string uuid;
    std::string created;  ///< time, for people
};

/// The record of a new cache, which lies in a folder of a new name.
CacheRecord newCacheRecord();

std::string formatCacheRecord(const CacheRecord& record);

/// The record of an OS template; nullopt without one. What is no record of ours counts as none,
/// since a cache can always be built anew: `error` then gets the reason.
std::optional<CacheRecord> readCacheRecord(const std::string& os, std::string& error);

/// The tree that containers are made from.
std::string cacheRootPath(const std::string& uuid);

}  // namespace qxpkg
