// A private root in which the node's fixed paths /etc/sysconfig/qx-scripts and /usr/sbin have a
// test's own files.
#ifndef TESTS_SUPPORT_NODE_VIEW_H
#define TESTS_SUPPORT_NODE_VIEW_H

#include <functional>
#include <string>
#include <string_view>

#include "tests/support/child.h"
#include "tests/support/temp_dir.h"

namespace qx_test {

class NodeView {
public:
    NodeView();

    // Why such a view cannot be made here; empty if it can.
    static std::string missing();

    std::string config_path(int ctid) const;
    void write_config(int ctid, std::string_view text) const;
    // Puts an executable script into /usr/sbin.
    void install_tool(std::string_view name, std::string_view script) const;

    // Runs an action in a child that sees the view, in the same working directory.
    ChildResult run(const std::function<void()>& action) const;

private:
    TempDir files_;
};

}  // namespace qx_test

// Skips a test, with the reason, if a node view cannot be made.
#define QX_SKIP_WITHOUT_NODE_VIEW()                              \
    do {                                                         \
        const std::string reason = qx_test::NodeView::missing(); \
        if (!reason.empty()) {                                   \
            GTEST_SKIP() << reason;                              \
        }                                                        \
    } while (false)

#endif
