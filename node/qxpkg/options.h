// What a qxpkg command line asks for beside its names.
#pragma once

#include "node/support/lock.h"

namespace qxpkg {

struct Options {
    bool quiet = false;           ///< -q: only the lines that a caller parses
    bool cacheOnly = false;       ///< -C: nothing is downloaded
    bool dryRun = false;          ///< -n: say what would be done, change nothing
    bool withDependents = false;  ///< -w: removal takes along what depends on the removed
    bool force = false;           ///< -f
    qxnode::LockWait wait = qxnode::LockWait::fromEnvironment();  ///< --wait SECONDS
};

}  // namespace qxpkg
