// Targets of a command: the node, or containers named by number, glob or EID.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXAEnvMLocal.h"
#include "QXL/QXLEID.h"
#include "tools/qxa/options.h"

namespace qxa {

struct Target {
    std::string label;  ///< "node", the container's number, or what the user called it
    QXL::QXLEID eid;
    bool node = true;
    bool known = true;         ///< an environment of this node
    QXA::QXAEnvRecord record;  ///< of a known container
};

/// The targets that the options name, containers in the order of their numbers and once each. A
/// number or EID that no container has becomes a target that is not known; a glob that matches
/// nothing too.
std::vector<Target> targetsOf(const TargetOptions& options,
                              const std::vector<QXA::QXAEnvRecord>& containers);

}  // namespace qxa
