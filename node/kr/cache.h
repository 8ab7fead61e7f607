// "cache.toml": which folder below /qx/template/vc is the cache of a KR OS template.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qxnode {

struct KrCache {
    std::string uuid;     ///< as it is written, which is also the name of the cache's folder
    std::string root;     ///< the tree that containers are made from; lies in the cache's folder
    std::string created;  ///< time, for people
};

/// The record of a new cache, which lies in a folder of a new name.
KrCache newKrCache();

std::string formatKrCache(const KrCache& cache);

/// The record of an OS template; nullopt without one. Whether its tree is still there is not
/// looked at.
/// @throws Failure when the record cannot be read, its "uuid" is no UUID, or its "path" does
///         not lie in the folder of that cache.
std::optional<KrCache> readKrCache(std::string_view os);

/// Folder of a cache: its tree, and the archive of it.
std::string krCacheFolder(const std::string& uuid);

}  // namespace qxnode
