// Locks of those who change the node's templates or a container.
#include "node/agent/tem/writer_lock.h"

namespace QXA::tem {

qxnode::FileLock lockForWriting(const std::string& path) {
    qxnode::FileLock lock;
    std::string error;
    switch (lock.acquire(path, qxnode::LockWait::fromEnvironment(), error)) {
        case qxnode::FileLock::Result::acquired:
            return lock;
        case qxnode::FileLock::Result::timeout:
            throw LockTimeout(kTemFailed, "lock not had in time: " + error);
        case qxnode::FileLock::Result::failed:
            break;
    }
    throw Failure(kTemFailed, error);
}

}  // namespace QXA::tem
