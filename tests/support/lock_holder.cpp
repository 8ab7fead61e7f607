// Another process that holds a lock; see lock_holder.h.
#include "tests/support/lock_holder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx_test {

LockHolder::LockHolder(const std::string& path, qxnode::FileLock::Mode mode) {
    int ready[2];
    int go[2];
    EXPECT_EQ(pipe(ready), 0);
    EXPECT_EQ(pipe(go), 0);
    pid_ = fork();
    if (pid_ == 0) {
        close(go[1]);
        qxnode::FileLock lock;
        std::string error;
        const auto noWait = qxnode::LockWait::atMost(std::chrono::milliseconds(0));
        const bool held =
            lock.acquire(path, noWait, error, {}, mode) == qxnode::FileLock::Result::acquired;
        char byte = held ? 'y' : 'n';
        const bool told = write(ready[1], &byte, 1) == 1;
        // Ends when the other end is closed.
        _exit(told && read(go[0], &byte, 1) == 0 ? 0 : 1);
    }
    char byte = 'n';
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y') << path << " is not free";
    close(ready[0]);
    close(ready[1]);
    close(go[0]);
    go_ = go[1];
}

void LockHolder::letGo() {
    if (pid_ > 0) {
        close(go_);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

}  // namespace qx_test
