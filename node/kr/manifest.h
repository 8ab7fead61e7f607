// Metadata of KR templates, from operators and from template packages:
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
/// The file beside an OS template's manifest that names its cache.
inline constexpr const char* kKrCacheName = "cache.toml";

struct Packaging;

/// Where packages come from: a repository by its URL, or a file of the host with source lines.
struct KrRepository {
    std::string url;                      ///< http, https, file or copy; empty if `sources` is set
    std::string suite;                    ///< deb: distribution, or a flat repository's path ("./")
    std::vector<std::string> components;  ///< deb
    bool trusted = false;                 ///< packages need no signature
    std::string key;      ///< file name of the signing key in the OS template's folder "keys"
    std::string sources;  ///< deb: absolute path of a file with source lines, used unchanged

    bool operator==(const KrRepository&) const = default;
    /// True if a download from it needs the network.
    [[nodiscard]] bool needsNetwork() const;
    /// Folder of the host that it is; empty for one that is reached otherwise.
    [[nodiscard]] std::string hostFolder() const;
};

struct KrManifest {
    bool isOsTemplate = false;
    std::string name;    ///< with its leading "."
    std::string osName;  ///< with its leading "."; only for application templates
    std::string version;
    std::string summary;
    std::vector<std::string> description;  ///< lines, without their ends
    std::string architecture;              ///< as in the packages; empty: the node's
    /// How the packages are packed, which also decides the engine that handles them; nullptr in an
    /// application template without one, which has its OS template's.
    const Packaging* packaging = nullptr;
    std::vector<std::string> technologies;
    std::vector<std::string> basePackages;      ///< first packages of a cache; OS templates only
    std::vector<std::string> lateBasePackages;  ///< packages after those are configured
    std::vector<std::string> packages;          ///< packages that the template adds to a container
    std::vector<KrRepository> repositories;
    std::string release;   ///< the distribution's release for the engines; may be empty
    std::string variant;   ///< mmdebstrap's variant of a deb root tree; may be empty
    bool network = false;  ///< package scripts may use the network
    bool cached = false;   ///< the "yes" flag in listings

    /// Base packages, late ones, then packages, each once.
    [[nodiscard]] std::vector<std::string> allPackages() const;
};

/// True for a valid template name, with or without its leading ".": at most 120 letters, digits and
/// "._+-:~", the first one after the dot a letter or digit.
bool isKrName(std::string_view name);

/// True for a valid package name; false if an engine could take it for an option, a path or a
/// pattern.
bool isKrPackageName(std::string_view name);

/// ".name" for "name" and ".name"; "" for "".
std::string dottedKrName(std::string_view name);
std::string plainKrName(std::string_view name);

/// Paths of a template's metadata on the node; names with or without their dot.
std::string krOsFolder(std::string_view os);
std::string krOsManifestPath(std::string_view os);
std::string krApplicationManifestPath(std::string_view os, std::string_view application);

/// Parses a manifest from a template package, which names its template itself.
/// @param source  name of the text in errors.
/// @throws Failure with source, line and key.
KrManifest parseKrManifest(std::string_view text, const std::string& source);

/// Reads the manifest of a template on the node. Names in the file must match its path.
/// @throws Failure also if it cannot be read.
KrManifest readKrOsManifest(std::string_view os);
KrManifest readKrApplicationManifest(std::string_view os, std::string_view application);

/// The same below another folder than /qx/template/kr.
KrManifest readKrOsManifest(const std::string& folder, std::string_view os);
KrManifest readKrApplicationManifest(const std::string& folder, std::string_view os,
                                     std::string_view application);

/// Names of the OS templates below `folder`, and of an OS template's application templates, without
/// dot, sorted; files whose names begin with a dot are ignored. A missing folder is empty.
/// @throws Failure if an existing folder cannot be read.
std::vector<std::string> krOsNames(const std::string& folder);
std::vector<std::string> krApplicationNames(const std::string& folder, std::string_view os);

}  // namespace qxnode
