// Checking a container's area.
#pragma once

#include "node/qxpkg/options.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// Says what is not right with a container: its area and root, templates that it names and the node
/// lacks, and what the area checker finds. @throws Failure when anything is not right.
void verifyContainer(int veid, const Output& output);

}  // namespace qxpkg
