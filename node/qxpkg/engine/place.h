// The place where an engine works: a root tree, the sources of its packages, and our store for it.
#pragma once

#include <string>
#include <vector>

#include "node/kr/manifest.h"
#include "node/kr/packaging.h"
#include "node/qxpkg/engine/confinement.h"

namespace qxpkg {

/// Paths inside the sandbox. They are the same for every place, so that the configuration and the
/// messages of an engine do not depend on the host's paths.
namespace inside {
inline constexpr const char* kRoot = "/container";
inline constexpr const char* kConfiguration = "/etc/qxpkg";
inline constexpr const char* kKeys = "/etc/qxpkg-keys";
inline constexpr const char* kTrustedKeys = "/etc/qxpkg-trusted";
inline constexpr const char* kWork = "/var/cache/qxpkg";
}  // namespace inside

/// Folder of qxpkg's data.
inline constexpr const char* kStoreDir = "/var/lib/qxagent/qxpkg";

/// The part of a store that engines can write. The configuration is in another part, which only
/// this program can write, so that a manipulated engine cannot change it.
inline std::string workOf(const std::string& store) {
    return store + "/cache";
}

struct Place {
    std::string root;       ///< host path of the root tree
    std::string store;      ///< host folder of this place's lists, downloads and logs
    std::string downloads;  ///< host folder of packages fetched for the OS template
    std::string keys;       ///< host folder of signing keys; need not exist
    const qxnode::Packaging* packaging = nullptr;
    std::string architecture;  ///< as in packages; empty: the node's
    std::string release;
    std::vector<qxnode::KrRepository> repositories;
    bool scriptNetwork = false;  ///< package scripts may use the network

    [[nodiscard]] bool repositoriesNeedNetwork() const;

    [[nodiscard]] std::string configuration() const { return store + "/conf"; }
    [[nodiscard]] std::string work() const { return workOf(store); }
};

/// A place for the packages of an OS template, with its packaging, sources and keys. The caller
/// sets root and store.
Place placeOf(const qxnode::KrManifest& os);

/// What the root's own database holds.
/// @param absent  also what is removed and left something behind. @throws Failure.
std::vector<qxnode::Package> databaseOf(const Place& place, bool absent = false);

/// Adds the sources of an application template.
void addRepositories(Place& place, const qxnode::KrManifest& application);

/// A file of a place's configuration folder.
struct ConfigurationFile {
    std::string name;  ///< may contain folders
    std::string content;
};

/// Makes the store's folders. The configuration folder then has exactly these files and the
/// container's accounts. @throws Failure.
void prepareStore(const Place& place, const std::vector<ConfigurationFile>& files,
                  const std::vector<std::string>& workFolders);

/// The sandbox of an engine at this place. Root and store must exist.
/// @param network  for downloads; scripts get it only if the template says so.
/// @throws Failure if the root's /proc or /dev is not a folder.
Confinement confinementOf(const Place& place, bool network);

/// The real path of a folder in the root ("/usr/lib/x"), with links followed inside the root.
/// Missing folders are made. @throws Failure, also for a path that would break an engine's
/// configuration.
std::string folderInRoot(const Place& place, const std::string& path);

}  // namespace qxpkg
