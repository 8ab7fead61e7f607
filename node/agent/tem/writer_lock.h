// Locks of those who change the node's templates or a container, or need that nobody does.
#pragma once

#include <string>

#include "layout/lock.h"
#include "node/agent/tem/reporter.h"
#include "node/support/failure.h"

namespace QXA::tem {

/// A lock that was not had in time; the message names its holder.
class LockTimeout : public qxnode::Failure {
public:
    using qxnode::Failure::Failure;
};

/// Takes the lock at `path`, waiting as QX_LOCK_WAIT says. @throws LockTimeout, Failure.
qxnode::FileLock lockForWriting(const std::string& path, const Reporter& reporter);

/// The same, shared with others of its kind: the templates that a container is given must not go
/// before the container's configuration names them.
qxnode::FileLock lockAgainstWriters(const std::string& path, const Reporter& reporter);

}  // namespace QXA::tem
