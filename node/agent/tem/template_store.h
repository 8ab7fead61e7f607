// Changes the node's templates. Callers hold the templates' lock; all functions first finish what a
// killed writer left, and are all-or-nothing. They throw Failure.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "node/agent/tem/package_reader.h"

namespace QXA::tem {

/// A manifest as one template of a listing.
QXAPackageVersion versionOf(const Manifest& manifest);

/// Installs packages. @return what was installed, one record a template name.
/// @throws Failure kTemNotStandard when any of the files is a package of another kind (before
///         anything else is looked at), kTemDamaged, kTemConflict, kNoCode.
std::vector<QXAPackageInfo> installPackages(const std::vector<std::string>& paths, bool force,
                                            const PackageLimits& limits = {});

/// Removes templates, an empty version meaning all.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; kTemConflict when an application
///         template that stays would have none of its OS templates left; kNoCode.
void removeTemplates(const std::vector<QXATemplate>& keys);

}  // namespace QXA::tem
