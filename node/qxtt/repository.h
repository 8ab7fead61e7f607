// Packages that repositories on the node's own disk offer.
#pragma once

#include <string>

#include "node/qxtt/package.h"
#include "node/support/kr_manifest.h"

namespace qxtt {

/// Gives the packages of the local repositories of an OS template that its containers can install;
/// repositories that need the network are passed over.
/// @param os  complete, its architecture included.
/// @throws Failure QXTT_E_BAD_REPOSITORY
void readRepositories(const qxnode::KrManifest& os, const OnPackage& onPackage);

}  // namespace qxtt
