// Interrupting a change of the node's templates without leaving anything of it behind.
#pragma once

#include <functional>

namespace qxpkg {

/// Runs `change` in a process of its own and answers with its result, which becomes the exit code.
/// SIGINT, SIGTERM and SIGHUP end that process and everything that it runs; then `cleanUp` runs and
/// the answer is kInterrupted. A change can so be interrupted at every moment: it is a kill, which
/// the change survives anyway, followed by what the next writer would do.
int runInterruptibly(const std::function<int()>& change, const std::function<void()>& cleanUp);

}  // namespace qxpkg
