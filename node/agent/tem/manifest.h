// The manifest of a standard template ("template.toml"): what it may hold and how it is read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "QXA/QXATemplate.h"

namespace QXA::tem {

inline constexpr const char* kManifestName = "template.toml";
inline constexpr const char* kRootName = "root";
inline constexpr const char* kStandardTechnology = "standard";

/// A longer manifest is refused without being read.
inline constexpr std::size_t kMaxManifestSize = std::size_t{1024} * 1024;

struct Manifest {
    QXATemplateConfigInfo config;
    std::string vendor;
    std::string origin;
    std::vector<std::string> setIdFiles;  ///< relative to root/, files that may be set-id
    std::vector<QXATemplate> conflicts;   ///< an empty version stands for every version

    [[nodiscard]] QXATemplate key() const { return {config.name, config.version}; }
};

/// Reads a manifest's text.
/// @param text    the whole file.
/// @param source  what to call it in messages.
/// @throws Failure kTemNotStandard when the manifest names another technology, kTemDamaged when it
///         cannot be parsed, a field has the wrong type or a value that is not allowed, or a needed
///         field is missing; the message names the field and its line.
Manifest parseManifest(std::string_view text, const std::string& source);

/// Whether a template named `wanted` (an empty version: any) is `found`.
bool matches(const QXATemplate& wanted, const QXATemplate& found);

/// Whether either of two templates names the other as a conflict.
bool inConflict(const Manifest& a, const Manifest& b);

}  // namespace QXA::tem
