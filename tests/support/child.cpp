// Actions in a child process; see child.h.
#include "tests/support/child.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace qx_test {

ChildResult in_child(const std::function<void()>& action) {
    int status = 0;
    const Output output = captured([&] {
        const pid_t child = fork();
        if (child < 0) {
            throw std::runtime_error("cannot fork");
        }
        if (child == 0) {
            action();
            std::fflush(nullptr);
            _exit(0);
        }
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    });
    constexpr int kSignalBase = 128;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status), output};
}

}  // namespace qx_test
