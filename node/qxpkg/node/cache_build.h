// Building the root tree of an OS template.
#pragma once

#include <string>

#include "node/kr/manifest.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// Extent of a deb root tree for which nothing is installed that the template does not name.
inline constexpr const char* kEmptyVariant = "empty";

/// Host paths of a cache that is being built. All exist; root and store are empty.
struct CacheBuild {
    std::string root;     ///< the tree
    std::string store;    ///< the engine's lists and downloads, to be removed afterwards
    std::string archive;  ///< folder that the archive of the tree is written to
};

inline constexpr const char* kCacheArchive = "root.tar.gz";

/// Installs the template's packages into the empty tree, in a sandbox, and packs the tree.
/// @throws Failure; a failing engine's own last lines are then on standard error.
void buildCache(const qxnode::KrManifest& os, const CacheBuild& build, const Output& output);

}  // namespace qxpkg
