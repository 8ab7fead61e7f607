// See locking.h.
#include "node/qxpkg/locking.h"

#include "node/qxpkg/failure.h"

namespace qxpkg {

qxnode::FileLock lockFile(const std::string& path, const qxnode::LockWait& wait,
                          const Output& output) {
    std::string error;
    qxnode::FileLock lock;
    switch (
        lock.acquire(path, wait, error, [&](const std::string& line) { output.notice(line); })) {
        case qxnode::FileLock::Result::acquired:
            return lock;
        case qxnode::FileLock::Result::timeout:
            throw Failure(kLockNotHad, "gave up waiting for a lock: " + error);
        case qxnode::FileLock::Result::failed:
            break;
    }
    throw Failure(error);
}

}  // namespace qxpkg
