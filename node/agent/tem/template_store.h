// Changes the node's templates. The caller must hold the templates' lock. All functions first
// complete what a killed writer left, do everything or nothing, and throw Failure.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "node/agent/tem/package_reader.h"

namespace QXA::tem {

/// The record of a listing for one manifest.
QXAPackageVersion versionOf(const Manifest& manifest);

/// Installs packages. @return the installed templates, one record per name.
/// @throws Failure kTemNotStandard if one of the files is a package of another technology (this is
///         checked first), kTemDamaged, kTemConflict, kNoCode.
std::vector<QXAPackageInfo> installPackages(const std::vector<std::string>& paths, bool force,
                                            const PackageLimits& limits = {});

/// Removes templates; an empty version means all versions.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; kTemConflict if a remaining application
///         template would have none of its OS templates; kNoCode.
void removeTemplates(const std::vector<QXATemplate>& keys);

}  // namespace QXA::tem
