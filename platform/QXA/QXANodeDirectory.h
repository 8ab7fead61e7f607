// Node directories: a whole reference node in one folder.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXA {

/// Makes `dir` a node directory: the trees of a node, empty, with an agent configuration that gives
/// the node an EID. An existing node directory is left as it is.
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int initNodeDirectory(const std::string& dir);

/// Moves the calling process into a private mount namespace (and, without root, a private user
/// namespace) in which the trees of `dir` lie at the real paths of a node. Nothing is made on the
/// host. To be called before any thread is started and before anything of the node is read.
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int enterNodeDirectory(const std::string& dir);

}  // namespace QXA
