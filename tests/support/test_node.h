// A node of a test; test bodies run in a child process that has entered it.
#ifndef TESTS_SUPPORT_TEST_NODE_H
#define TESTS_SUPPORT_TEST_NODE_H

#include <functional>
#include <string>
#include <string_view>

#include "tests/support/temp_dir.h"

namespace qx_test {

class TestNode {
public:
    // An empty node with an EID (kEid).
    TestNode();

    static constexpr const char* kEid = "0a1b2c3d-0000-4000-8000-000000000001";

    // Why a node cannot be entered here; empty if it can.
    static std::string missing();

    // A path of the node ("/qx/template/...") as the test's own process sees it.
    std::string path(std::string_view nodePath) const;

    // Writes a file of the node and makes missing folders.
    void write(std::string_view nodePath, std::string_view content) const;

    // The file /etc/sysconfig/qx-scripts/<veid>.conf.
    void writeContainer(int veid, std::string_view content) const;

    // Runs the body in a child that has entered the node. Failed expectations in the body, and a
    // child that dies, fail the test.
    void run(const std::function<void()>& body) const;

    // The same as another user: real, effective and saved ids are this number; no groups.
    void runAs(unsigned uid, const std::function<void()>& body) const;

private:
    TempDir files_;
};

}  // namespace qx_test

// Skips a test, with the reason, if no node can be entered.
#define QX_SKIP_WITHOUT_TEST_NODE()                              \
    do {                                                         \
        const std::string reason = qx_test::TestNode::missing(); \
        if (!reason.empty()) {                                   \
            GTEST_SKIP() << reason;                              \
        }                                                        \
    } while (false)

#endif
