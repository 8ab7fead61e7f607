// From a command line to what it asks for; see command_line.h.
#include <algorithm>

#include "node/qxpkg/command_line.h"
#include "node/qxpkg/container/operations.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/operations.h"
#include "node/qxpkg/node/template_list.h"
#include "node/qxpkg/supervisor.h"

namespace qxpkg {

namespace {

/// Prints the reason as one line, because callers read the last line of standard error.
int failed(const Output& output, int code, std::string reason) {
    while (!reason.empty() && reason.back() == '\n') {
        reason.pop_back();
    }
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    output.notice(reason);
    return code;
}

template <typename Operation>
int guarded(const Output& output, const Operation& operation) {
    try {
        operation();
        output.endProgress();
        return kDone;
    } catch (const Failure& failure) {
        return failed(output, exitCodeOf(failure), failure.what());
    } catch (const std::exception& failure) {
        return failed(output, kFailed, failure.what());
    }
}

void changeNodeTemplates(const CommandLine& line, const Output& output) {
    if (line.verb == Verb::install) {
        installNodeTemplates(line.names, line.options, output);
    } else if (line.verb == Verb::update) {
        updateNodeTemplates(line.names, line.options, output);
    } else if (line.applications) {
        removeApplicationTemplates(line.names.front(), {line.names.begin() + 1, line.names.end()},
                                   line.options, output);
    } else {
        removeOsTemplates(line.names, line.options, output);
    }
}

void changeCaches(const CommandLine& line, const Output& output) {
    line.verb == Verb::create ? createCaches(line.names, line.options, output)
                              : updateCaches(line.names, line.options, output);
}

void changeContainer(const CommandLine& line, const Output& output) {
    if (line.verb == Verb::verify) {
        verifyContainer(line.veid, output);
    } else if (line.verb == Verb::install) {
        installInContainer(line.veid, line.kind, line.names, line.options, output);
    } else if (line.verb == Verb::update) {
        updateContainer(line.veid, line.kind, line.names, line.options, output);
    } else {
        removeFromContainer(line.veid, line.kind, line.names, line.options, output);
    }
}

void changeNodePackages(const CommandLine& line, const Output& output) {
    line.verb == Verb::fetch ? fetchPackages(line.kind, line.names, line.options, output)
                             : cleanPackages(line.kind, line.names, line.options, output);
}

int runInterruptibleChange(const CommandLine& line, const Output& output) {
    const int result = runInterruptibly(
        [&] {
            return guarded(output, [&] {
                line.object == Object::caches ? changeCaches(line, output)
                                              : changeNodeTemplates(line, output);
            });
        },
        [] {
            try {
                recoverNodeTemplates();
            } catch (const std::exception&) {
                // Ignore it: the next writer cleans up, or reports why it cannot.
            }
        });
    return result == kInterrupted ? failed(output, kInterrupted, "interrupted") : result;
}

}  // namespace

int runCommand(const CommandLine& line) {
    const Output output(line.options.quiet);
    switch (line.object) {
        case Object::container:
            return guarded(output, [&] { changeContainer(line, output); });
        case Object::nodePackages:
            return guarded(output, [&] { changeNodePackages(line, output); });
        case Object::files:
            return guarded(output, [&] { packTemplate(line.names.front(), line.names.back()); });
        case Object::caches:
            return runInterruptibleChange(line, output);
        case Object::nodeTemplates:
            break;
    }
    if (line.verb == Verb::list) {
        return guarded(output, [&] { listTemplates(line.names, line.format, output); });
    }
    return runInterruptibleChange(line, output);
}

}  // namespace qxpkg
