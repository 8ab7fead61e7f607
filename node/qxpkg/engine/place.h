// Where an engine works: a root tree, the sources of its packages, and a store of ours beside it.
#pragma once

#include <string>
#include <vector>

#include "node/kr/manifest.h"
#include "node/kr/packaging.h"
#include "node/qxpkg/engine/confinement.h"

namespace qxpkg {

/// Paths as an engine sees them, the same for every place, so that its configuration and its
/// messages do not depend on where the host keeps things.
namespace inside {
inline constexpr const char* kRoot = "/container";
inline constexpr const char* kConfiguration = "/etc/qxpkg";
inline constexpr const char* kKeys = "/etc/qxpkg-keys";
inline constexpr const char* kTrustedKeys = "/etc/qxpkg-trusted";
inline constexpr const char* kWork = "/var/cache/qxpkg";
}  // namespace inside

/// Folder of everything that qxpkg keeps, below the node's state.
inline constexpr const char* kStoreDir = "/var/lib/qxagent/qxpkg";

/// The part of a store that engines write. It is kept apart from the part that only this program
/// writes and engines read, so that what an engine was led to write configures nothing.
inline std::string workOf(const std::string& store) {
    return store + "/cache";
}

struct Place {
    std::string root;       ///< host path of the root tree
    std::string store;      ///< host folder of this place's lists, downloads and logs
    std::string downloads;  ///< host folder of the store that fetching for the OS template fills
    std::string keys;       ///< host folder of signing keys; need not exist
    const qxnode::Packaging* packaging = nullptr;
    std::string architecture;  ///< as the packages call it; empty: the node's
    std::string release;
    std::vector<qxnode::KrRepository> repositories;
    bool scriptNetwork = false;  ///< package scripts may use the network

    [[nodiscard]] bool repositoriesNeedNetwork() const;

    [[nodiscard]] std::string configuration() const { return store + "/conf"; }
    [[nodiscard]] std::string work() const { return workOf(store); }
};

/// A place for the packages of an OS template: its packaging, sources and keys. Root and store are
/// the caller's to fill.
Place placeOf(const qxnode::KrManifest& os);

/// What the root's own database holds.
/// @param absent  also what is removed and left something behind. @throws Failure.
std::vector<qxnode::Package> databaseOf(const Place& place, bool absent = false);

/// Adds the sources of an application template.
void addRepositories(Place& place, const qxnode::KrManifest& application);

/// A file of a place's configuration folder.
struct ConfigurationFile {
    std::string name;  ///< may hold folders
    std::string content;
};

/// Makes the store's folders, and its configuration folder hold these files, the container's
/// accounts, and nothing else. @throws Failure.
void prepareStore(const Place& place, const std::vector<ConfigurationFile>& files,
                  const std::vector<std::string>& workFolders);

/// The sandbox of an engine at this place. Root and store must exist.
/// @param network  for downloads; scripts get it only when the template asks for it.
/// @throws Failure when the root's /proc or /dev is no folder.
Confinement confinementOf(const Place& place, bool network);

/// Where a folder of the root really lies, links followed inside the root: "/usr/lib/x". Missing
/// folders are made. @throws Failure; also for a path that an engine's configuration would misread.
std::string folderInRoot(const Place& place, const std::string& path);

}  // namespace qxpkg
