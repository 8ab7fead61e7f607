// Child processes that see a test's own configurations and tools; see node_view.h.
#include "tests/support/node_view.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "tests/support/private_root.h"

namespace qx_test {
namespace {

constexpr int kViewFailed = 120;

}  // namespace

NodeView::NodeView() {
    files_.make_dir("etc/sysconfig/qx-scripts");
    files_.make_dir("sbin");
}

std::string NodeView::missing() {
    return PrivateRoot().run([] { return std::string(); }).ran
               ? ""
               : "needs mount namespaces (root, or unprivileged user namespaces)";
}

std::string NodeView::config_path(int ctid) const {
    return files_.path("etc/sysconfig/qx-scripts/" + std::to_string(ctid) + ".conf");
}

void NodeView::write_config(int ctid, std::string_view text) const {
    files_.write("etc/sysconfig/qx-scripts/" + std::to_string(ctid) + ".conf", text);
}

void NodeView::install_tool(std::string_view name, std::string_view script) const {
    const std::string path = files_.write(std::string("sbin/").append(name), script);
    if (chmod(path.c_str(), 0755) != 0) {
        throw std::runtime_error("cannot make " + path + " executable");
    }
}

ChildResult NodeView::run(const std::function<void()>& action) const {
    const TempDir mount_point;
    PrivateRoot root;
    root.show(files_.path("etc/sysconfig/qx-scripts"), "/etc/sysconfig/qx-scripts")
        .show(files_.path("sbin"), "/usr/sbin");
    return in_child([&] {
        try {
            root.enter(mount_point.path());
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "no node view: %s\n", failure.what());
            std::fflush(stderr);
            _exit(kViewFailed);
        }
        action();
    });
}

}  // namespace qx_test
