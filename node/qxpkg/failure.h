// Exit codes of qxpkg, and the failures that carry one.
#pragma once

#include "node/support/failure.h"

namespace qxpkg {

enum ExitCode {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kRefused = 27,        ///< already installed, in conflict, or in use
    kNotKrTemplate = 33,  ///< a file is no KR template package
    kLockNotHad = 75,     ///< see QXL/QXLLockPolicy.h
    kInterrupted = 130,
};

using qxnode::Failure;
using qxnode::systemFailure;

/// kFailed for a failure that has no exit code of its own.
inline int exitCodeOf(const Failure& failure) {
    return failure.code() > 0 ? failure.code() : kFailed;
}

}  // namespace qxpkg
