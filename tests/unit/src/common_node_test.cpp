// Questions to the node: mounts, quota, identifiers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "src/qxfsutil.h"
#include "tests/support/node_view.h"

namespace {

using qx_test::ChildResult;

class Node : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE_VIEW(); }

    // What get_inodes_count(101) gives while the quota command prints a text.
    ChildResult count(const std::string& output, int level = 0) {
        node_.install_tool("qxquota", "#!/bin/sh\nprintf '%b' '" + output + "'\necho noise >&2\n");
        return node_.run([&] {
            qxfsutil_debug_level = level;
            printf("%d", get_inodes_count(101));
        });
    }

    qx_test::NodeView node_;
};

TEST_F(Node, InodeUsageIsTheFirstNumberOfTheSecondLine) {
    const ChildResult result = count("1 2 3\\n        456   7   8\\n");
    EXPECT_EQ(result.output.out, "456");
    EXPECT_EQ(result.output.err, "");
}

TEST_F(Node, TheQuotaCommandIsAskedForTheContainer) {
    node_.install_tool("qxquota",
                       "#!/bin/sh\n[ \"$*\" = '-b stat 101' ] && printf '1 2 3\\n4 5 6\\n'\n");
    EXPECT_EQ(node_.run([] { printf("%d", get_inodes_count(101)); }).output.out, "4");
}

TEST_F(Node, ABadFirstLineGivesMinusOne) {
    const ChildResult result = count("1 2\\n4 5 6\\n", 4);
    EXPECT_EQ(result.output.out, "-1");
    EXPECT_EQ(result.output.err, "Error while reading block quota for VPS 101\n");
    EXPECT_EQ(count("1 2\\n4 5 6\\n", 3).output.err, "");
}

TEST_F(Node, ABadSecondLineGivesMinusTwo) {
    const ChildResult result = count("1 2 3\\nx\\n", 4);
    EXPECT_EQ(result.output.out, "-2");
    EXPECT_EQ(result.output.err, "Error while reading inode quota for VPS 101\n");
    EXPECT_EQ(count("1 2 3\\nx\\n", 3).output.err, "");
}

TEST_F(Node, AMissingSecondLineGivesMinusTwo) {
    EXPECT_EQ(count("1 2 3\\n").output.out, "-2");
}

TEST_F(Node, AMissingCommandGivesMinusOne) {
    EXPECT_EQ(node_.run([] { printf("%d", get_inodes_count(101)); }).output.out, "-1");
}

TEST_F(Node, AUsageBeyondTheResultIsTheLargestResult) {
    EXPECT_EQ(count("1 2 3\\n99999999999999 0 0\\n").output.out, "2147483647");
}

TEST_F(Node, TheAreaIsMountedWhenALineOfTheFileSystemNamesItsSource) {
    const qx_test::TempDir dir;
    const ChildResult result = node_.run([&] {
        if (mount("qxfs:/areas/1", dir.path().c_str(), "tmpfs", 0, "size=4k") != 0) {
            printf("no mount ");
        }
        printf("%d%d%d", check_mount_qxfs("/areas/1"), check_mount_qxfs("/areas"),
               check_mount_qxfs("areas/1"));
    });
    EXPECT_EQ(result.output.out, "100");
}

TEST_F(Node, AnotherFileSystemsLineDoesNotCount) {
    const qx_test::TempDir dir;
    const ChildResult result = node_.run([&] {
        if (mount("other:/areas/2", dir.path().c_str(), "tmpfs", 0, "size=4k") != 0) {
            printf("no mount ");
        }
        printf("%d", check_mount_qxfs("/areas/2"));
    });
    EXPECT_EQ(result.output.out, "0");
}

TEST(Uuid, HasTheTextFormOfARandomOne) {
    char* id = generate_uuid();
    EXPECT_THAT(id, testing::MatchesRegex(
                        "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
    free(id);
}

TEST(Uuid, IsNewEachTime) {
    char* first = generate_uuid();
    char* second = generate_uuid();
    EXPECT_STRNE(first, second);
    free(first);
    free(second);
}

}  // namespace
