// Where the root tree of a KR OS template's cache lies.
#pragma once

#include <optional>
#include <string>

namespace QXA::env {

/// @param osTemplate  with its leading dot.
/// @return the directory below /qx/template/vc that a new container's root is copied from; nullopt
///         when the template has no cache.
/// @throws tem::Failure kTemUnknownTemplate when the node has no such template, kTemFailed when its
///         cache.toml is not right.
std::optional<std::string> krCacheRoot(const std::string& osTemplate);

/// Copies a root tree into an empty directory, by reflink where the file system can.
/// @throws tem::Failure kTemFailed.
void copyTree(const std::string& from, int directory);

}  // namespace QXA::env
