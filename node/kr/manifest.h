// Metadata of KR templates, as operators write them and template packages carry them:
// /qx/template/kr/<os>/template.toml for an OS template, /qx/template/kr/<os>/app/<app>.toml for an
// application template of it. The format is described in docs/kr-templates.md.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "node/support/toml_reader.h"

namespace qxnode {

inline constexpr const char* kKrTechnology = "kr";
inline constexpr const char* kKrManifestName = "template.toml";
inline constexpr const char* kKrApplicationDir = "app";
inline constexpr const char* kKrApplicationSuffix = ".toml";
/// Names the cache of an OS template, beside its manifest.
inline constexpr const char* kKrCacheName = "cache.toml";

struct Packaging;

/// Where packages come from: a repository by its URL, or a file of the host with source lines.
struct KrRepository {
    std::string url;    ///< http, https, file or copy; empty when `sources` is set
    std::string suite;  ///< deb: distribution, or a flat repository's path ("./")
    std::vector<std::string> components;  ///< deb
    bool trusted = false;                 ///< packages need no signature
    std::string key;      ///< file name of the signing key in the OS template's folder "keys"
    std::string sources;  ///< deb: absolute path of a file with source lines, taken as it is

    bool operator==(const KrRepository&) const = default;
    /// Whether getting something from it needs the network.
    [[nodiscard]] bool needsNetwork() const;
    /// Folder of the host that it is; empty for one that is reached otherwise.
    [[nodiscard]] std::string hostFolder() const;
};

struct KrManifest {
    bool isOsTemplate = false;
    std::string name;    ///< with its leading "."
    std::string osName;  ///< with its leading "."; of an application template only
    std::string version;
    std::string summary;
    std::vector<std::string> description;  ///< lines, without their ends
    std::string architecture;              ///< as the packages call it; empty: the node's
    /// How the packages are packed, which also decides the engine that handles them; nullptr in an
    /// application template without one, which has its OS template's.
    const Packaging* packaging = nullptr;
    std::vector<std::string> technologies;
    std::vector<std::string> basePackages;      ///< what a cache begins with; OS templates only
    std::vector<std::string> lateBasePackages;  ///< what it gets when those are in working order
    std::vector<std::string> packages;          ///< what the template adds to a container
    std::vector<KrRepository> repositories;
    std::string release;   ///< distribution's release, as the engines are to be told; may be empty
    std::string variant;   ///< extent of a deb root tree, as mmdebstrap calls it; may be empty
    bool network = false;  ///< package scripts may use the network
    bool cached = false;   ///< the "yes" flag that listings carry

    /// Base packages, late ones, then packages, each once.
    [[nodiscard]] std::vector<std::string> allPackages() const;
};

/// A template's name without its leading "."; false for a name that cannot be one: at most 120
/// letters, digits and "._+-:~", the first after the dot a letter or digit.
bool isKrName(std::string_view name);

/// Whether a package may be called so; false for what an engine could take for an option, a path or
/// a pattern.
bool isKrPackageName(std::string_view name);

/// ".name" for "name" and ".name"; "" stays.
std::string dottedKrName(std::string_view name);
std::string plainKrName(std::string_view name);

/// Paths of a template's metadata on the node; names with or without their dot.
std::string krOsFolder(std::string_view os);
std::string krOsManifestPath(std::string_view os);
std::string krApplicationManifestPath(std::string_view os, std::string_view application);

/// A manifest that says itself whose it is, as in a template package.
/// @param source  what to call the text in errors.
/// @throws Failure with source, line and key.
KrManifest parseKrManifest(std::string_view text, const std::string& source);

/// The manifest of a template on the node. What the file says of names must agree with its place.
/// @throws Failure also when it cannot be read.
KrManifest readKrOsManifest(std::string_view os);
KrManifest readKrApplicationManifest(std::string_view os, std::string_view application);

/// The same below another folder than /qx/template/kr.
KrManifest readKrOsManifest(const std::string& folder, std::string_view os);
KrManifest readKrApplicationManifest(const std::string& folder, std::string_view os,
                                     std::string_view application);

/// Names of the OS templates below `folder`, and of an OS template's application templates, plain,
/// sorted; names that begin with a dot are passed over.
/// @throws Failure when a folder that is there cannot be read; one that is not is empty.
std::vector<std::string> krOsNames(const std::string& folder);
std::vector<std::string> krApplicationNames(const std::string& folder, std::string_view os);

}  // namespace qxnode
