// Reads the manifest of a standard template ("template.toml").
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

/// A longer manifest is refused.
inline constexpr std::size_t kMaxManifestSize = std::size_t{1024} * 1024;

struct Manifest {
    QXATemplateConfigInfo config;
    std::string vendor;
    std::string origin;
    std::vector<std::string> setIdFiles;  ///< relative to root/, files that may be set-id
    std::vector<QXATemplate> conflicts;   ///< an empty version means every version

    [[nodiscard]] QXATemplate key() const { return {config.name, config.version}; }
};

/// Reads a manifest's text.
/// @param text    the whole file.
/// @param source  its name in messages.
/// @throws Failure kTemNotStandard if the manifest names another technology; kTemDamaged if it
///         cannot be parsed, a field has the wrong type or a value that is not allowed, or a
///         required field is missing; the message names the field and its line.
Manifest parseManifest(std::string_view text, const std::string& source);

/// True if `found` is the template `wanted`; an empty version of `wanted` means any.
bool matches(const QXATemplate& wanted, const QXATemplate& found);

/// True if one of two templates names the other as a conflict.
bool inConflict(const Manifest& a, const Manifest& b);

}  // namespace QXA::tem
