// The package commands: install, remove, update, list, info, fetch, clean.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "QXL/QXLError.h"
#include "tools/qxa/commands.h"
#include "tools/qxa/print.h"
#include "tools/qxa/progress.h"
#include "tools/qxa/run_targets.h"

namespace qxa {

namespace {

/// On a terminal, shows the progress of a change; elsewhere only results are printed. Of several
/// targets, which run at the same time, each only says that it begins.
std::unique_ptr<Progress> announce(const CommonOptions& common, Operation operation,
                                   const Target& target, bool single) {
    const std::string text = std::string(operationName(operation)) + " on " + target.label;
    const bool shown = isatty(STDERR_FILENO) == 1 && !common.quiet && changes(operation);
    if (shown && single) {
        return std::make_unique<Progress>(text);
    }
    if (shown || common.verbose) {
        std::fprintf(stderr, "%s\n", progressLine(text, std::chrono::seconds(0)).c_str());
    }
    return nullptr;
}

}  // namespace

int runPackageCommand(const CommonOptions& common, Operation operation,
                      const PackageOptions& options) {
    std::vector<QXA::QXAEnvRecord> containers;
    if (!options.target.node() && QXA::QXAEnvMLocal(nullptr).list(containers) != QXA::kEnvMOk) {
        return printFailure(common, "containers", QXL::getErrorMessage(), kExitFailed);
    }
    const auto targets = targetsOf(options.target, containers);
    if (targets.empty()) {
        return printFailure(
            common, operationName(operation),
            containers.empty() ? "this node has no containers" : "no container was named",
            kExitUnknownTarget);
    }
    if (common.format == Format::xml && targets.size() > 1) {
        return printFailure(common, operationName(operation),
                            "XML output is for one target only; name one target", kExitUsage);
    }
    Plugin plugin;
    std::string error;
    if (!plugin.load(common.pluginPath, error)) {
        return printFailure(common, "plug-in", error, kExitFailed);
    }

    const Request request{operation, options, common.format == Format::xml};
    OutcomePrinter printer(common, targets.size() > 1, options.summary,
                           operation == Operation::info);
    runOnTargets(
        targets, operationName(operation), options.target.jobs,
        [&](const Target& target) {
            const auto progress = announce(common, operation, target, targets.size() == 1);
            return runRequest(plugin, request, target);
        },
        [&](const Outcome& outcome) { printer.add(outcome); });
    return printer.finish();
}

}  // namespace qxa
