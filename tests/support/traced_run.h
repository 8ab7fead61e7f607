// Runs a program and ends it, or makes it fail, at one of its system calls that change files.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qx_test {

struct TracedRun {
    bool started = false;  ///< false: tracing is not possible here
    std::string reason;    ///< why not
    bool killed = false;   ///< it was ended at the call that was asked for
    int exitCode = -1;     ///< when it ended by itself
    unsigned calls = 0;    ///< calls that change files, up to its end
};

/// Ends the program with SIGKILL just before its `n`-th (from 1) call that changes files; output to
/// standard output and standard error does not count. 0: lets it run.
TracedRun runKilledAt(const std::vector<std::string>& command, unsigned n);

/// Lets the `n`-th such call fail with `failure` (an errno), without carrying it out.
TracedRun runFailingAt(const std::vector<std::string>& command, unsigned n, int failure);

}  // namespace qx_test
