// Node directories: a whole reference node in one folder, entered by the calling process.
#pragma once

#include <string>

namespace qxnode {

/// Makes `dir` a node directory: the trees "qx", "etc/sysconfig/qx-scripts", "etc/qxagent" and
/// "var/lib/qxagent", and an agent configuration that gives the node an EID. What is there already
/// stays as it is.
/// @return 0, or -1 with the reason in `error`.
int initNodeDirectory(const std::string& dir, std::string& error);

/// Moves the calling process into a private mount namespace (without root, in a private user
/// namespace in which the caller's user is root) where the trees of `dir` lie at the real paths.
/// Nothing is made on the host: mount points that it lacks appear on file systems of the private
/// namespace only. To be called by a process with one thread, before anything of the node is read.
/// The working directory and open descriptors stay what they were.
/// @return 0, or -1 with the reason in `error`; the process may then be in half a view and is to
///         end.
int enterNodeDirectory(const std::string& dir, std::string& error);

}  // namespace qxnode
