// Runs a program and kills it, or lets a system call fail, at one of its calls that change files.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qx_test {

struct TracedRun {
    bool started = false;  ///< false: tracing is not possible here
    std::string reason;    ///< why not
    bool killed = false;   ///< it was killed at the requested call
    int exitCode = -1;     ///< if it ended by itself
    unsigned calls = 0;    ///< number of calls that change files, up to its end
};

/// Kills the program just before its `n`-th (from 1) call that changes files; writing to standard
/// output and standard error does not count. 0: let it run.
TracedRun runKilledAt(const std::vector<std::string>& command, unsigned n);

/// Lets the `n`-th such call fail with `failure` (an errno); it has no effect.
TracedRun runFailingAt(const std::vector<std::string>& command, unsigned n, int failure);

}  // namespace qx_test
