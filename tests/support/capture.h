// Catches what the process writes to standard output and standard error, by descriptor.
#ifndef TESTS_SUPPORT_CAPTURE_H
#define TESTS_SUPPORT_CAPTURE_H

#include <cstdio>
#include <functional>
#include <string>

namespace qx_test {

struct Output {
    std::string out;
    std::string err;
};

// Runs an action and returns what it and its children wrote.
Output captured(const std::function<void()>& action);

}  // namespace qx_test

#endif
