// Interrupts a change of the node's templates and removes what it left.
#pragma once

#include <functional>

namespace qxpkg {

/// Runs `change` in a child process and returns its result, which becomes the exit code. SIGINT,
/// SIGTERM and SIGHUP kill that process and everything that it runs; then `cleanUp` runs and the
/// result is kInterrupted. This is safe at every moment: changes survive a kill, and `cleanUp` does
/// what the next writer would do.
int runInterruptibly(const std::function<int()>& change, const std::function<void()>& cleanUp);

}  // namespace qxpkg
