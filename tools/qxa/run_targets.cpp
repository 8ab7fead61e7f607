// Runs requests at the same time, each in a process of its own, and returns the outcomes in order.
#include "tools/qxa/run_targets.h"

#include <exception>

#include "base/child_pool.h"
#include "base/content.h"

namespace qxa {

namespace {

Outcome failure(const Target& target, const std::string& operation, const std::string& message) {
    Outcome outcome;
    outcome.operation = operation;
    outcome.target = target.label;
    outcome.code = -1;
    outcome.message = message;
    outcome.exitCode = kExitFailed;
    return outcome;
}

/// The runner's outcome as text. It catches every exception: in a worker process an exception must
/// not reach the code of the calling process, which the fork has copied.
std::string sentOutcome(const Target& target, const std::string& operation,
                        const TargetRunner& runner) {
    try {
        return serialize(runner(target));
    } catch (const std::exception& error) {
        return serialize(failure(target, operation, error.what()));
    }
}

Outcome outcomeOf(const Target& target, const std::string& operation,
                  const base::ChildResult& result) {
    Outcome outcome;
    if (deserialize(result.text, outcome)) {
        return outcome;
    }
    const bool ended = result.exitCode() >= 0;
    return failure(
        target, operation,
        ended ? "the request ended without an outcome" : "the request was " + result.reason());
}

}  // namespace

void runOnTargets(const std::vector<Target>& targets, const std::string& operation, unsigned jobs,
                  const TargetRunner& runner, const OutcomeSink& sink) {
    if (targets.size() == 1) {
        sink(runner(targets.front()));
        return;
    }
    base::runChildren(
        targets.size(), jobs,
        [&](std::size_t place, int output) {
            const auto text = sentOutcome(targets[place], operation, runner);
            return base::writeContent(output, text) ? 0 : 1;
        },
        [&](std::size_t place, const base::ChildResult& result) {
            sink(outcomeOf(targets[place], operation, result));
        });
}

}  // namespace qxa
