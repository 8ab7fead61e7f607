// "cache.toml": which folder below /qx/template/vc is the cache of a KR OS template.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qxnode {

struct KrCache {
    std::string uuid;     ///< as written; also the name of the cache's folder
    std::string root;     ///< the tree that containers are made from, in the cache's folder
    std::string created;  ///< time, for people
};

/// The record of a new cache with a new folder name.
KrCache newKrCache();

std::string formatKrCache(const KrCache& cache);

/// Reads the record of an OS template; nullopt if there is none. Does not check that its tree
/// exists.
/// @throws Failure if the record cannot be read, its "uuid" is not a UUID, or its "path" is not
///         in the folder of that cache.
std::optional<KrCache> readKrCache(std::string_view os);

/// Folder of a cache: its tree, and the archive of it.
std::string krCacheFolder(const std::string& uuid);

}  // namespace qxnode
