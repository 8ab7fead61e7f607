// KR templates as a container has them: names resolved, and the packages that they stand for.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/container/container.h"

namespace qxpkg {

/// Manifests of the templates of the container's OS template that are called so; its own name means
/// the OS template itself. @throws Failure for a name that none has.
std::vector<qxnode::KrManifest> resolveTemplates(const Container& container,
                                                 const std::vector<std::string>& names);

/// Packages that a template stands for: of an OS template also those that its cache is built of.
std::vector<std::string> packagesOf(const qxnode::KrManifest& manifest);

/// The same of several templates, each package once.
std::vector<std::string> packagesOf(const std::vector<qxnode::KrManifest>& manifests);

/// Packages that the container's OS template and its application templates, but for those named,
/// stand for. Templates whose metadata is gone or broken count for none.
std::vector<std::string> packagesOfOthers(const Container& container,
                                          const std::vector<std::string>& butFor);

}  // namespace qxpkg
