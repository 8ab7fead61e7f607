// Node directories: a whole reference node in one folder.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXA {

/// Makes `dir` a node directory: the empty trees of a node and an agent configuration with a new
/// EID. An existing node directory is not changed.
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int initNodeDirectory(const std::string& dir);

/// Moves the calling process into a private mount namespace (without root also into a private user
/// namespace) in which the trees of `dir` appear at the usual paths of a node. The machine is not
/// changed. Call it before starting a thread and before reading anything of the node.
/// @return 0, or -1 with the reason in getErrorMessage().
QXL_API int enterNodeDirectory(const std::string& dir);

}  // namespace QXA
