// Actions in a child process, where they may end the process, and with the node's fixed paths
// (/etc/sysconfig/qx-scripts, /usr/sbin) showing a test's own files.
#ifndef TESTS_SUPPORT_NODE_VIEW_H
#define TESTS_SUPPORT_NODE_VIEW_H

#include <functional>
#include <string>
#include <string_view>

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

namespace qx_test {

struct ChildResult {
    int status;  // exit status, or 128 and the number of the signal that ended the child
    Output output;
};

// Runs an action in a child; 0 when it returns.
ChildResult in_child(const std::function<void()>& action);

class NodeView {
public:
    NodeView();

    // Why such a view cannot be made here; empty when it can.
    static std::string missing();

    std::string config_path(int ctid) const;
    void write_config(int ctid, std::string_view text) const;
    // Puts an executable script into /usr/sbin.
    void install_tool(std::string_view name, std::string_view script) const;

    // Runs an action in a child that sees the view.
    ChildResult run(const std::function<void()>& action) const;

private:
    TempDir files_;
};

}  // namespace qx_test

// Ends a test with the reason when a node view cannot be made.
#define QX_SKIP_WITHOUT_NODE_VIEW()                              \
    do {                                                         \
        const std::string reason = qx_test::NodeView::missing(); \
        if (!reason.empty()) {                                   \
            GTEST_SKIP() << reason;                              \
        }                                                        \
    } while (false)

#endif
