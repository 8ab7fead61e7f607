// Reads KR template packages: archives from anywhere, of which nothing is believed.
#pragma once

#include <map>
#include <string>

#include "node/kr/manifest.h"

namespace qxpkg {

inline constexpr const char* kKeysDir = "keys";

/// A manifest with the text that it was read from, which is what is stored.
struct ManifestFile {
    qxnode::KrManifest manifest;
    std::string text;
};

/// A package whole in memory: metadata is small, and what is bigger is no metadata.
struct TemplatePackage {
    std::string path;
    ManifestFile main;
    std::map<std::string, std::string> keys;           ///< content by file name
    std::map<std::string, ManifestFile> applications;  ///< by plain name; of an OS template only
};

/// What a package may hold at most.
struct TemplatePackageLimits {
    std::size_t entries = 4096;
    std::size_t bytes = std::size_t{16} << 20;
    std::size_t keyBytes = std::size_t{256} << 10;
};

/// @throws Failure kNotKrTemplate: no archive, without template.toml, or of another technology;
///         kFailed: it cannot be read, is damaged, or holds anything that is not allowed.
TemplatePackage readTemplatePackage(const std::string& path,
                                    const TemplatePackageLimits& limits = {});

/// The same of an open file.
TemplatePackage readTemplatePackage(int file, const std::string& path,
                                    const TemplatePackageLimits& limits = {});

}  // namespace qxpkg
