// Runs actions in a child process, so that they may end the process.
#ifndef TESTS_SUPPORT_CHILD_H
#define TESTS_SUPPORT_CHILD_H

#include <functional>
#include <string>

#include "tests/support/capture.h"

namespace qx_test {

struct ChildResult {
    int status;  // exit status, or 128 and the number of the signal that ended the child
    Output output;
};

// Runs an action in a child; the status is 0 if it returns.
ChildResult in_child(const std::function<void()>& action);

struct ChildText {
    int status;  // as above
    std::string text;
};

// Runs an action in a child, which exits with the action's result; also returns the text that the
// action filled.
ChildText told_by_child(const std::function<int(std::string& text)>& action);

}  // namespace qx_test

#endif
