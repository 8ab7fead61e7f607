// Locks as a command takes them: who waits says for whom.
#pragma once

#include <string>

#include "layout/lock.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

/// Takes a lock, which is had for as long as the object lives. While it waits, `output` says for
/// whom. @throws Failure kLockNotHad or kFailed.
qxnode::FileLock lockFile(const std::string& path, const qxnode::LockWait& wait,
                          const Output& output);

}  // namespace qxpkg
