// Actions in a child process, where they may end the process.
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

// Runs an action in a child; 0 when it returns.
ChildResult in_child(const std::function<void()>& action);

struct ChildText {
    int status;  // as above
    std::string text;
};

// Runs an action in a child that ends with the status that the action gives, and brings the text
// back that it fills.
ChildText told_by_child(const std::function<int(std::string& text)>& action);

}  // namespace qx_test

#endif
