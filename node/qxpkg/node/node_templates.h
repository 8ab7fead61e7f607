// The KR templates of the node, read completely into memory.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "node/kr/cache.h"
#include "node/qxpkg/node/template_package.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// An OS template of the node with all files of its folder.
struct NodeOsTemplate {
    std::optional<ManifestFile> main;  ///< none: the template is damaged, it has only applications
    std::map<std::string, ManifestFile> applications;  ///< by plain name
    std::map<std::string, std::string> keys;           ///< content by file name
    std::optional<std::string> cacheRecord;            ///< text
};

/// Reads one OS template; nullopt if the node has none of this name. A manifest with errors has its
/// name and text but no version, so that it can be replaced and removed.
/// @param os  with or without its dot. @throws Failure if something cannot be read.
std::optional<NodeOsTemplate> readNodeOsTemplate(const std::string& os);

/// The same, but it must have a manifest. @throws Failure also for an unknown name.
NodeOsTemplate knownOsTemplate(const std::string& os);

/// The cache of an OS template; nullopt if it has none. A broken record counts as none, because a
/// cache can always be rebuilt; `prefix` and the reason are then printed.
std::optional<qxnode::KrCache> usableCache(const std::string& os, const Output& output,
                                           const std::string& prefix = "");

/// True if a repository of the manifest names this key.
bool namesKey(const qxnode::KrManifest& manifest, const std::string& key);

}  // namespace qxpkg
