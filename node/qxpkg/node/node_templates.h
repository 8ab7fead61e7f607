// The KR templates of the node, whole in memory.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "node/kr/cache.h"
#include "node/qxpkg/node/template_package.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// An OS template of the node with all that its folder holds.
struct NodeOsTemplate {
    std::optional<ManifestFile> main;  ///< none: only applications are left of a damaged one
    std::map<std::string, ManifestFile> applications;  ///< by plain name
    std::map<std::string, std::string> keys;           ///< content by file name
    std::optional<std::string> cacheRecord;            ///< text
};

/// Reads one OS template; nullopt when the node has none of this name. A manifest that is not right
/// keeps its name and text and has no version, so that it can be replaced and removed.
/// @param os  with or without its dot. @throws Failure when something cannot be read.
std::optional<NodeOsTemplate> readNodeOsTemplate(const std::string& os);

/// The same of one that has its manifest, right or not. @throws Failure for an unknown name, too.
NodeOsTemplate knownOsTemplate(const std::string& os);

/// The cache of an OS template; nullopt without one. What is no record counts as none, since a
/// cache can always be built anew: people hear `prefix` and the reason.
std::optional<qxnode::KrCache> usableCache(const std::string& os, const Output& output,
                                           const std::string& prefix = "");

/// Whether a repository of the manifest names this key.
bool namesKey(const qxnode::KrManifest& manifest, const std::string& key);

}  // namespace qxpkg
