// Child processes inside a node directory; see test_node.h.
#include "tests/support/test_node.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>

#include "layout/node_dir.h"

namespace qx_test {

namespace {

constexpr int kBodyFailed = 1;
constexpr int kBodyThrew = 2;
constexpr int kNotEntered = 77;

int wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Gives the child's exit status.
int in_node(const std::string& dir, const std::function<void()>& action) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        return kNotEntered;
    }
    if (child > 0) {
        return wait_for(child);
    }
    int status = kNotEntered;
    std::string error;
    if (qxnode::enterNodeDirectory(dir, error) != 0) {
        std::fprintf(stderr, "%s\n", error.c_str());
    } else {
        try {
            action();
            status = testing::Test::HasFailure() ? kBodyFailed : 0;
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "the body threw: %s\n", failure.what());
            status = kBodyThrew;
        }
    }
    std::fflush(nullptr);
    _exit(status);
}

}  // namespace

TestNode::TestNode() {
    std::string error;
    EXPECT_EQ(qxnode::initNodeDirectory(files_.path(), error), 0) << error;
    write("/etc/qxagent/agent.toml", std::string("eid = \"") + kEid + "\"\n");
    // A test may continue as another user.
    EXPECT_EQ(chmod(files_.path().c_str(), 0755), 0);
}

std::string TestNode::missing() {
    const TempDir probe;
    std::string error;
    if (qxnode::initNodeDirectory(probe.path(), error) != 0) {
        return error;
    }
    return in_node(probe.path(), [] {}) == 0
               ? ""
               : "needs mount namespaces (root, or unprivileged user namespaces)";
}

std::string TestNode::path(std::string_view nodePath) const {
    return files_.path() + std::string(nodePath);
}

void TestNode::write(std::string_view nodePath, std::string_view content) const {
    files_.write(nodePath.substr(1), content);
}

void TestNode::writeContainer(int veid, std::string_view content) const {
    write("/etc/sysconfig/qx-scripts/" + std::to_string(veid) + ".conf", content);
}

void TestNode::run(const std::function<void()>& body) const {
    EXPECT_EQ(in_node(files_.path(), body), 0) << "see the failures of the child process above";
}

void TestNode::runAs(unsigned uid, const std::function<void()>& body) const {
    run([&] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(uid, uid, uid), 0);
        ASSERT_EQ(setresuid(uid, uid, uid), 0);
        body();
    });
}

}  // namespace qx_test
