// Exit codes of qxfsutil, as fsck tools have them: bits, so that several areas give one.
#pragma once

#include "src/area/check_area.h"

namespace qxfsutil {

enum ExitCode : int {
    kExitClean = 0,
    kExitCorrected = 1,    ///< faults were found and all of them were repaired
    kExitErrorsLeft = 4,   ///< faults are left
    kExitOperational = 8,  ///< the command could not do its work
    kExitUsage = 16,
    kExitCancelled = 32,  ///< SIGINT or SIGTERM
};

/// The exit code for what the check of one area came to.
ExitCode exitCodeOf(const qxfs::CheckSummary& summary);

}  // namespace qxfsutil
