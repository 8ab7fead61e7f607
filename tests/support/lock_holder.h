// Another process that holds a lock.
#pragma once

#include <sys/types.h>

#include <string>

#include "layout/lock.h"

namespace qx_test {

class LockHolder {
public:
    // Returns when the lock is held; it must be free. Paths are those of the calling process, which
    // may have entered a node.
    explicit LockHolder(const std::string& path,
                        qxnode::FileLock::Mode mode = qxnode::FileLock::Mode::exclusive);
    ~LockHolder() { letGo(); }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }

    // "held by pid 12 (", as in messages to waiting processes.
    [[nodiscard]] std::string name() const { return "held by pid " + std::to_string(pid_) + " ("; }

    // Returns when the process has ended, and the lock with it.
    void letGo();

private:
    pid_t pid_ = -1;
    int go_ = -1;
};

}  // namespace qx_test
