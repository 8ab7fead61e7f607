// What an engine can reach when it reads a database: its root and the host's programs, to read.
#include "node/kr/sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/subprocess.h"
#include "tests/support/temp_dir.h"

namespace qxnode {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Sandbox : public testing::Test {
protected:
    void SetUp() override {
        root_.write("file", "inside\n");
        const auto probe = base::runProcess(sandboxed(root_.path(), {"true"}));
        if (!probe.succeeded()) {
            GTEST_SKIP() << "needs bubblewrap and what it needs: " << probe.reason();
        }
    }

    std::vector<std::string> output_of(const std::string& script) const {
        std::vector<std::string> lines;
        base::ProcessOptions options;
        options.onLine = [&](const std::string& line) { lines.push_back(line); };
        base::runProcess(sandboxed(root_.path(), {"sh", "-c", script, "sh", inSandbox("/file")}),
                         options);
        return lines;
    }

    bool succeeds(const std::string& script) const {
        return base::runProcess(
                   sandboxed(root_.path(), {"sh", "-c", script, "sh", inSandbox("/file")}))
            .succeeded();
    }

    qx_test::TempDir root_;
};

TEST_F(Sandbox, theRootCanBeRead) {
    EXPECT_THAT(output_of("cat \"$1\""), ElementsAre("inside"));
}

TEST_F(Sandbox, nothingButTheScratchFolderCanBeWritten) {
    EXPECT_FALSE(succeeds("echo x > \"$1\""));
    EXPECT_FALSE(succeeds("echo x > \"$1.new\""));
    EXPECT_FALSE(succeeds("echo x > /usr/bin/qxtt-was-here"));
    EXPECT_TRUE(succeeds(std::string("echo x > ") + kSandboxScratch + "/file"));
}

TEST_F(Sandbox, filesOfTheHostAreNotThere) {
    const qx_test::TempDir host;
    const std::string secret = host.write("secret", "x");
    EXPECT_FALSE(succeeds("cat " + secret));
    EXPECT_FALSE(succeeds("cat /etc/passwd"));
    EXPECT_FALSE(succeeds("ls /var /proc /root /home"));
}

TEST_F(Sandbox, aLinkThatIsPlantedLateStaysInside) {
    const qx_test::TempDir host;
    host.write("secret", "x");
    root_.make_link("absolute", host.path("secret"));
    root_.make_link("relative", "../../../../../.." + host.path("secret"));
    EXPECT_FALSE(succeeds("cat \"${1%file}absolute\""));
    EXPECT_FALSE(succeeds("cat \"${1%file}relative\""));
}

TEST_F(Sandbox, theEnvironmentOfTheCallerIsNotPassedOn) {
    ASSERT_EQ(setenv("QXTT_SECRET", "x", 1), 0);
    EXPECT_THAT(output_of("echo \"${QXTT_SECRET-none}\""), ElementsAre("none"));
    unsetenv("QXTT_SECRET");
}

TEST_F(Sandbox, memoryIsBounded) {
    EXPECT_THAT(output_of("ulimit -v"), ElementsAre("2097152"));
}

}  // namespace
}  // namespace qxnode
