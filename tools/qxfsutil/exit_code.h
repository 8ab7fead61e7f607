// Exit codes of qxfsutil, the same as for other file system checkers: bits, which can be combined
// for several areas.
#pragma once

#include "src/area/check_area.h"

namespace qxfsutil {

enum ExitCode : int {
    kExitClean = 0,
    kExitCorrected = 1,    ///< all errors were repaired
    kExitErrorsLeft = 4,   ///< errors remain
    kExitOperational = 8,  ///< the command could not do its work
    kExitUsage = 16,
    kExitCancelled = 32,  ///< SIGINT or SIGTERM
};

/// The exit code for the result of a check.
ExitCode exitCodeOf(const qxfs::CheckSummary& summary);

}  // namespace qxfsutil
