// Exit codes of qxa: one per way that a request can end.
#pragma once

#include <string>

namespace qxa {

enum ExitCode : int {
    kExitDone = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitDenied = 3,
    kExitUnknownTarget = 4,
    kExitRefused = 5,      ///< the node would not do it: in use, in conflict, unsuitable
    kExitLockTimeout = 6,  ///< somebody else kept the node or the container busy
    kExitInterrupted = 130,
};

/// What a request left behind.
struct RequestResult {
    int code = 0;             ///< of the package-manager interface
    std::string message;      ///< of the request
    int platformCode = 0;     ///< of the last platform failure
    bool targetKnown = true;  ///< the target is an environment of this node
};

/// The exit code that stands for a request's result.
ExitCode exitCodeOf(const RequestResult& result);

/// The graver of two exit codes, for a command over several targets.
ExitCode worse(ExitCode a, ExitCode b);

}  // namespace qxa
