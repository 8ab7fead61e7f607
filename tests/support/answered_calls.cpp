// Answering system calls by a filter; see answered_calls.h.
#include "tests/support/answered_calls.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <stdexcept>

namespace qx_test {
namespace {

constexpr int kNoFilter = 77;

bool answer(long call, int error_number) {
    const sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error_number)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {4, const_cast<sock_filter*>(program)};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
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

Answered with_calls_answered(std::initializer_list<long> calls, int error_number,
                             const std::function<std::string()>& action) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!std::all_of(calls.begin(), calls.end(),
                         [&](long call) { return answer(call, error_number); })) {
            _exit(kNoFilter);
        }
        const std::string text = action();
        const bool sent = write(ends[1], text.data(), text.size()) == ssize_t(text.size());
        _exit(sent ? 0 : 1);
    }
    close(ends[1]);
    std::string text = receive(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoFilter) {
        return {false, "no system call filters here"};
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        text += " [child ended with wait status " + std::to_string(status) + "]";
    }
    return {true, text};
}

}  // namespace qx_test
