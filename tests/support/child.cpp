// Actions in a child process; see child.h.
#include "tests/support/child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace qx_test {

namespace {

int ended(pid_t child) {
    constexpr int kSignalBase = 128;
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
}

pid_t forked() {
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("cannot fork");
    }
    return child;
}

bool send(int fd, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t n = write(fd, text.data() + sent, text.size() - sent);
        if (n <= 0) {
            return false;
        }
        sent += static_cast<size_t>(n);
    }
    return true;
}

std::string receive(int fd) {
    std::string text;
    char block[4096];
    ssize_t n = 0;
    while ((n = read(fd, block, sizeof(block))) > 0) {
        text.append(block, static_cast<size_t>(n));
    }
    return text;
}

}  // namespace

ChildResult in_child(const std::function<void()>& action) {
    int status = 0;
    const Output output = captured([&] {
        const pid_t child = forked();
        if (child == 0) {
            action();
            std::fflush(nullptr);
            _exit(0);
        }
        status = ended(child);
    });
    return {status, output};
}

ChildText told_by_child(const std::function<int(std::string& text)>& action) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    std::fflush(nullptr);
    const pid_t child = forked();
    if (child == 0) {
        std::string text;
        const int status = action(text);
        std::fflush(nullptr);
        _exit(send(ends[1], text) ? status : 1);
    }
    close(ends[1]);
    std::string text = receive(ends[0]);
    close(ends[0]);
    return {ended(child), text};
}

}  // namespace qx_test
