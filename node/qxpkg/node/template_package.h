// Reads KR template packages, which are untrusted archives.
#pragma once

#include <map>
#include <string>

#include "node/kr/manifest.h"

namespace qxpkg {

inline constexpr const char* kKeysDir = "keys";

/// A manifest and its text; the text is what gets stored.
struct ManifestFile {
    qxnode::KrManifest manifest;
    std::string text;
};

/// A whole package in memory; metadata is small.
struct TemplatePackage {
    std::string path;
    ManifestFile main;
    std::map<std::string, std::string> keys;           ///< content by file name
    std::map<std::string, ManifestFile> applications;  ///< by plain name; of an OS template only
};

/// Limits of a package.
struct TemplatePackageLimits {
    std::size_t entries = 4096;
    std::size_t bytes = std::size_t{16} << 20;
    std::size_t keyBytes = std::size_t{256} << 10;
};

/// @throws Failure kNotKrTemplate: not an archive, without template.toml, or of another technology;
///         kFailed: it cannot be read, is damaged, or has an entry that is not allowed.
TemplatePackage readTemplatePackage(const std::string& path,
                                    const TemplatePackageLimits& limits = {});

/// The same for an open file.
TemplatePackage readTemplatePackage(int file, const std::string& path,
                                    const TemplatePackageLimits& limits = {});

}  // namespace qxpkg
