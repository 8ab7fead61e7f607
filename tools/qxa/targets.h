// Targets of a command: the node, or containers named by number, glob or EID.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXAEnvMLocal.h"
#include "QXL/QXLEID.h"
#include "tools/qxa/options.h"

namespace qxa {

struct Target {
    std::string label;  ///< "node", the container's number, or what the user wrote
    QXL::QXLEID eid;
    bool node = true;
    bool known = true;         ///< false: this node has no such environment
    QXA::QXAEnvRecord record;  ///< of a known container
};

/// The targets that the options name: containers ordered by number, each once. A number or EID that
/// no container has, or a glob pattern without a match, becomes a target that is not known.
std::vector<Target> targetsOf(const TargetOptions& options,
                              const std::vector<QXA::QXAEnvRecord>& containers);

}  // namespace qxa
