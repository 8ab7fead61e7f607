// KR templates of a container: resolves names and lists packages.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/container/container.h"

namespace qxpkg {

/// Manifests of the named application templates of the container's OS template; the name of the OS
/// template means itself. @throws Failure for an unknown name.
std::vector<qxnode::KrManifest> resolveTemplates(const Container& container,
                                                 const std::vector<std::string>& names);

/// The packages of a template; of an OS template also those of its cache.
std::vector<std::string> packagesOf(const qxnode::KrManifest& manifest);

/// The same of several templates, each package once.
std::vector<std::string> packagesOf(const std::vector<qxnode::KrManifest>& manifests);

/// The packages of the container's OS template and of its application templates, except for the
/// named ones. Templates whose metadata is missing or broken have none.
std::vector<std::string> packagesOfOthers(const Container& container,
                                          const std::vector<std::string>& butFor);

}  // namespace qxpkg
