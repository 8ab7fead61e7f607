// The exit code for the result of a check.
#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

ExitCode exitCodeOf(const qxfs::CheckSummary& summary) {
    if (!summary.failures.empty()) {
        return kExitOperational;
    }
    if (summary.errorsLeft > 0) {
        return kExitErrorsLeft;
    }
    return summary.repaired > 0 ? kExitCorrected : kExitClean;
}

}  // namespace qxfsutil
