// Runs one request on several targets.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qxa/outcome.h"
#include "tools/qxa/targets.h"

namespace qxa {

using TargetRunner = std::function<Outcome(const Target&)>;
using OutcomeSink = std::function<void(const Outcome&)>;

/// Runs `runner` on every target and hands the outcomes to `sink` in the targets' order. One target
/// is run in this process; several each in a process of their own, at most `jobs` at once, so that
/// one that dies takes no other with it.
/// @param operation  its name, for the outcome of a target whose process gave none.
void runOnTargets(const std::vector<Target>& targets, const std::string& operation, unsigned jobs,
                  const TargetRunner& runner, const OutcomeSink& sink);

}  // namespace qxa
