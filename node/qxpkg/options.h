// Options of the qxpkg command line.
#pragma once

#include "layout/lock.h"

namespace qxpkg {

struct Options {
    bool quiet = false;           ///< -q: print only the lines that a caller parses
    bool cacheOnly = false;       ///< -C: download nothing
    bool dryRun = false;          ///< -n: report what would be done; change nothing
    bool withDependents = false;  ///< -w: also remove packages that depend on the named ones
    bool force = false;           ///< -f
    qxnode::LockWait wait = qxnode::LockWait::fromEnvironment();  ///< --wait SECONDS
};

}  // namespace qxpkg
