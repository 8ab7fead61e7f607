// Child processes and private views of fixed paths; see node_view.h.
#include "tests/support/node_view.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace qx_test {
namespace {

constexpr int kViewFailed = 120;

bool bind_over(const std::string& source, const char* target) {
    return mount(source.c_str(), target, nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

bool write_text(const char* path, const std::string& text) {
    const int descriptor = open(path, O_WRONLY | O_CLOEXEC);
    const bool written = descriptor >= 0 && write(descriptor, text.data(), text.size()) ==
                                                static_cast<ssize_t>(text.size());
    if (descriptor >= 0) {
        close(descriptor);
    }
    return written;
}

// A mount namespace of the process's own; without privileges through a user namespace in which the
// caller is root.
bool enter_namespace() {
    if (unshare(CLONE_NEWNS) != 0) {
        const std::string user = "0 " + std::to_string(geteuid()) + " 1";
        const std::string group = "0 " + std::to_string(getegid()) + " 1";
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            !write_text("/proc/self/setgroups", "deny") ||
            !write_text("/proc/self/uid_map", user) || !write_text("/proc/self/gid_map", group)) {
            return false;
        }
    }
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

ChildResult in_child(const std::function<void()>& action) {
    int status = 0;
    const Output output = captured([&] {
        const pid_t child = fork();
        if (child < 0) {
            throw std::runtime_error("cannot fork");
        }
        if (child == 0) {
            action();
            std::fflush(nullptr);
            _exit(0);
        }
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    });
    constexpr int kSignalBase = 128;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status), output};
}

NodeView::NodeView() {
    files_.make_dir("etc/sysconfig/qx-scripts");
    files_.make_dir("sbin");
}

std::string NodeView::missing() {
    const ChildResult probe = in_child([] {
        if (!enter_namespace()) {
            _exit(kViewFailed);
        }
    });
    return probe.status == 0 ? ""
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
    return in_child([&] {
        if (!enter_namespace() || !bind_over(files_.path("etc"), "/etc") ||
            !bind_over(files_.path("sbin"), "/usr/sbin")) {
            std::fprintf(stderr, "no node view: %s\n", std::strerror(errno));
            std::fflush(stderr);
            _exit(kViewFailed);
        }
        action();
    });
}

}  // namespace qx_test
