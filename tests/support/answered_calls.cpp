// Answering system calls by a filter; see answered_calls.h.
#include "tests/support/answered_calls.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cstddef>

#include "tests/support/child.h"

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

}  // namespace

Answered with_calls_answered(std::initializer_list<long> calls, int error_number,
                             const std::function<std::string()>& action) {
    const ChildText told = told_by_child([&](std::string& text) {
        if (!std::all_of(calls.begin(), calls.end(),
                         [&](long call) { return answer(call, error_number); })) {
            return kNoFilter;
        }
        text = action();
        return 0;
    });
    if (told.status == kNoFilter) {
        return {false, "no system call filters here"};
    }
    return {true, told.status == 0 ? told.text
                                   : told.text + " [child ended with status " +
                                         std::to_string(told.status) + "]"};
}

}  // namespace qx_test
