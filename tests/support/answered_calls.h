// Runs an action in a child process in which some system calls do nothing and return a given
// result, for failures that no available file system can produce.
#ifndef TESTS_SUPPORT_ANSWERED_CALLS_H
#define TESTS_SUPPORT_ANSWERED_CALLS_H

#include <functional>
#include <initializer_list>
#include <string>

namespace qx_test {

struct Answered {
    bool ran;          // false: this machine has no system call filters
    std::string text;  // the action's result; if it did not run, the reason
};

// Each of the calls returns with the error number (0: success) and does nothing.
Answered with_calls_answered(std::initializer_list<long> calls, int error_number,
                             const std::function<std::string()>& action);

}  // namespace qx_test

#endif
