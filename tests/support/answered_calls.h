// Runs an action in a child process in which the kernel answers some system calls itself: for the
// failures that no file system at hand can be made to give.
#ifndef TESTS_SUPPORT_ANSWERED_CALLS_H
#define TESTS_SUPPORT_ANSWERED_CALLS_H

#include <functional>
#include <initializer_list>
#include <string>

namespace qx_test {

struct Answered {
    bool ran;          // false: this machine has no system call filters
    std::string text;  // what the action returned; the reason when it did not run
};

// Each of the calls is answered with the error number (0: with success) and does nothing.
Answered with_calls_answered(std::initializer_list<long> calls, int error_number,
                             const std::function<std::string()>& action);

}  // namespace qx_test

#endif
