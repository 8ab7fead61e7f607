// Exit codes of qxa.
#pragma once

#include <string>

namespace qxa {

enum ExitCode : int {
    kExitDone = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitDenied = 3,
    kExitUnknownTarget = 4,
    kExitRefused = 5,      ///< the node refused: in use, in conflict, unsuitable
    kExitLockTimeout = 6,  ///< another process kept the node or the container locked
    kExitInterrupted = 130,
};

/// How a request ended.
struct RequestResult {
    int code = 0;             ///< of the package-manager interface
    std::string message;      ///< of the request
    int platformCode = 0;     ///< of the last platform failure
    bool targetKnown = true;  ///< the target is an environment of this node
};

/// The exit code for a request's result.
ExitCode exitCodeOf(const RequestResult& result);

/// The worse of two exit codes, for a command with several targets.
ExitCode worse(ExitCode a, ExitCode b);

}  // namespace qxa
