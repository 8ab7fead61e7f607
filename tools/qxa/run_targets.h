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

/// Calls `runner` for every target and `sink` with the outcomes, in the targets' order. A single
/// target runs in this process. Several run in processes of their own, at most `jobs` at once, so
/// that a crash affects one target only.
/// @param operation  its name, for the outcome of a target whose process crashed.
void runOnTargets(const std::vector<Target>& targets, const std::string& operation, unsigned jobs,
                  const TargetRunner& runner, const OutcomeSink& sink);

}  // namespace qxa
