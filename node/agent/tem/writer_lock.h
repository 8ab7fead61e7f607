// Locks of the node's templates and of containers.
#pragma once

#include <string>

#include "layout/lock.h"
#include "node/agent/tem/reporter.h"
#include "node/support/failure.h"

namespace QXA::tem {

/// The wait for a lock timed out; the message names the holder.
class LockTimeout : public qxnode::Failure {
public:
    using qxnode::Failure::Failure;
};

/// Takes the lock at `path`; QX_LOCK_WAIT limits the wait. @throws LockTimeout, Failure.
qxnode::FileLock lockForWriting(const std::string& path, const Reporter& reporter);

/// Takes it shared: templates that a container gets must not be removed before the container's
/// configuration names them, but several containers may get templates at the same time.
qxnode::FileLock lockAgainstWriters(const std::string& path, const Reporter& reporter);

}  // namespace QXA::tem
