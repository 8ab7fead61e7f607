// Locks of those who change the node's templates or a container.
#pragma once

#include <string>

#include "node/agent/tem/failure.h"
#include "node/support/lock.h"

namespace QXA::tem {

/// A lock that was not had in time; the message names its holder.
class LockTimeout : public Failure {
public:
    using Failure::Failure;
};

/// Takes the lock at `path`, waiting as QX_LOCK_WAIT says. @throws LockTimeout, Failure.
qxnode::FileLock lockForWriting(const std::string& path);

}  // namespace QXA::tem
