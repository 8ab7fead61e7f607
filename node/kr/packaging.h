// Packaging: what differs between the ways in which packages are packed, as far as describing them
// goes. One folder beside this file and one line in packaging.cpp make another; node/qxpkg/engine
// has the engines that change packages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "node/kr/package.h"

namespace qxnode {

struct DatabaseQuery;
class DatabaseFolder;
struct KrManifest;
struct KrRepository;

struct Packaging {
    std::string_view name;                   ///< as manifests call it
    std::string_view anyArchitecture;        ///< of packages for every machine
    const char* databaseEngine;              ///< program of the host that lists a database
    const char* databaseFolder;              ///< from a root's "/"
    std::vector<const char*> databaseFiles;  ///< one of them tells that there is a database
    int nothingFound;  ///< exit code of the engine when no package has the asked name

    /// This node's architecture, as packages call it.
    /// @param machine  as the kernel calls it.
    std::string (*architecture)(const std::string& machine);

    /// Below 0 when `a` is older than `b`, 0 when they are equal, above 0 when it is newer.
    int (*compareVersions)(std::string_view a, std::string_view b);

    /// What lists the database, as ListOutput reads it. Refuses what would keep the engine waiting
    /// until its time is over. @throws Failure QXTT_E_BAD_DATABASE
    std::vector<std::string> (*listCommand)(const DatabaseQuery& query,
                                            const DatabaseFolder& folder);

    /// Brings what the engine printed of a package into shape. @return false for one that is not
    /// there, or not any more.
    bool (*takeListed)(Package& package);

    /// Gives the packages of a repository of the node's own disk that machines of the template's
    /// architecture can use. @throws Failure QXTT_E_BAD_REPOSITORY
    void (*readRepository)(const KrRepository& repository, const KrManifest& os,
                           const OnPackage& onPackage);
};

/// All of them, in the order in which a root is searched for a database.
std::vector<const Packaging*>& packagings();

/// nullptr for a name that is not known.
const Packaging* findPackaging(std::string_view name);

}  // namespace qxnode
