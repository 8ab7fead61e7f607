// Node directories: a whole reference node in one folder, entered by the calling process.
#pragma once

#include <string>

namespace qxnode {

/// Makes `dir` a node directory: the trees "qx", "etc/sysconfig/qx-scripts", "etc/qxagent" and
/// "var/lib/qxagent", and an agent configuration with a new EID. Existing files are not changed.
/// @return 0, or -1 with the reason in `error`.
int initNodeDirectory(const std::string& dir, std::string& error);

/// Moves the calling process into a private mount namespace (without root also into a private user
/// namespace, in which the caller is root) where the trees of `dir` are at the real paths. The
/// machine is not changed: mount points that it lacks exist only in the private namespace. The
/// process must have one thread and must not have read anything of the node. Working directory and
/// open descriptors stay the same.
/// @return 0, or -1 with the reason in `error`; the process must then end, because its view may be
///         incomplete.
int enterNodeDirectory(const std::string& dir, std::string& error);

}  // namespace qxnode
