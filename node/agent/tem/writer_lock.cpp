// Locks of the node's templates and of containers.
#include "node/agent/tem/writer_lock.h"

namespace QXA::tem {

using qxnode::Failure;

namespace {

using qxnode::FileLock;

FileLock lock(const std::string& path, const Reporter& reporter, FileLock::Mode mode) {
    FileLock held;
    std::string error;
    switch (held.acquire(path, qxnode::LockWait::fromEnvironment(), error, reporter.waits, mode)) {
        case FileLock::Result::acquired:
            return held;
        case FileLock::Result::timeout:
            throw LockTimeout("gave up waiting for a lock: " + error);
        case FileLock::Result::failed:
            break;
    }
    throw Failure(error);
}

}  // namespace

FileLock lockForWriting(const std::string& path, const Reporter& reporter) {
    return lock(path, reporter, FileLock::Mode::exclusive);
}

FileLock lockAgainstWriters(const std::string& path, const Reporter& reporter) {
    return lock(path, reporter, FileLock::Mode::shared);
}

}  // namespace QXA::tem
