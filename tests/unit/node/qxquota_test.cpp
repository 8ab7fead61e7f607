// The quota command: measuring an area, reading limits, and the lines that the checker parses.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "node/qxquota/usage.h"
#include "src/qxfsutil.h"
#include "tests/support/node_view.h"
#include "tests/support/temp_dir.h"

namespace {

using qx_test::ChildResult;
using qx_test::TempDir;
using qxquota::Quotas;

qxnode::ContainerConfig config_of(std::string_view text) {
    std::string error;
    const auto config = qxnode::ContainerConfig::parse(text, "test", error);
    EXPECT_TRUE(config) << error;
    return config.value_or(qxnode::ContainerConfig());
}

Quotas measured(const std::string& area) {
    Quotas quotas;
    std::string error;
    EXPECT_TRUE(qxquota::measure(area, quotas, error)) << error;
    return quotas;
}

uint64_t kilobytes_of(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(lstat(path.c_str(), &st), 0);
    return (static_cast<uint64_t>(st.st_blocks) * 512 + 1023) / 1024;
}

TEST(QuotaUsage, CountsTheTopAndAllBelow) {
    const TempDir dir;
    dir.write("a/b/file", "x");
    dir.make_link("a/link", "nowhere");
    EXPECT_EQ(measured(dir.path()).inodes.used, 5u);
}

TEST(QuotaUsage, CountsAFileWithTwoNamesOnce) {
    const TempDir dir;
    ASSERT_EQ(link(dir.write("one", "x").c_str(), dir.path("two").c_str()), 0);
    EXPECT_EQ(measured(dir.path()).inodes.used, 2u);
}

TEST(QuotaUsage, CountsBlocksOfFiles) {
    const TempDir dir;
    const uint64_t before = measured(dir.path()).blocks.used;
    const std::string file = dir.write("file", std::string(100000, 'x'));
    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    sync();
    EXPECT_GE(measured(dir.path()).blocks.used, before + kilobytes_of(file));
    EXPECT_GE(kilobytes_of(file), 97u);
}

TEST(QuotaUsage, DoesNotFollowLinks) {
    const TempDir outside;
    outside.write("many/files", "");
    const TempDir dir;
    dir.make_link("out", outside.path());
    EXPECT_EQ(measured(dir.path()).inodes.used, 2u);
}

TEST(QuotaUsage, FailsWithoutAnArea) {
    const TempDir dir;
    Quotas quotas;
    std::string error;
    EXPECT_FALSE(qxquota::measure(dir.path("none"), quotas, error));
    EXPECT_EQ(error, dir.path("none") + ": No such file or directory");
}

struct LimitCase {
    std::string value;
    uint64_t soft;
    uint64_t hard;
};

class QuotaLimits : public testing::TestWithParam<LimitCase> {};

TEST_P(QuotaLimits, AreReadForBlocksAndInodes) {
    const std::string value = "=\"" + GetParam().value + "\"\n";
    Quotas quotas;
    std::string error;
    ASSERT_TRUE(
        qxquota::readLimits(config_of("DISKSPACE" + value + "DISKINODES" + value), quotas, error))
        << error;
    EXPECT_EQ(quotas.blocks.soft, GetParam().soft);
    EXPECT_EQ(quotas.blocks.hard, GetParam().hard);
    EXPECT_EQ(quotas.inodes.soft, GetParam().soft);
    EXPECT_EQ(quotas.inodes.hard, GetParam().hard);
}

INSTANTIATE_TEST_SUITE_P(Values, QuotaLimits,
                         testing::Values(LimitCase{"1000:2000", 1000, 2000}, LimitCase{"7", 7, 7},
                                         LimitCase{"0:0", 0, 0},
                                         LimitCase{"0:99999999999999", 0, 99999999999999}));

TEST(QuotaLimitsAbsent, AreNone) {
    Quotas quotas;
    std::string error;
    ASSERT_TRUE(qxquota::readLimits(config_of(""), quotas, error));
    EXPECT_EQ(quotas.blocks.hard + quotas.inodes.hard, 0u);
}

class BadQuotaLimits : public testing::TestWithParam<std::string> {};

TEST_P(BadQuotaLimits, AreRefusedWithParameterAndText) {
    Quotas quotas;
    std::string error;
    EXPECT_FALSE(
        qxquota::readLimits(config_of("DISKINODES=\"" + GetParam() + "\"\n"), quotas, error));
    EXPECT_EQ(error, "DISKINODES: \"" + GetParam() + "\" is not \"soft:hard\"");
}

INSTANTIATE_TEST_SUITE_P(Values, BadQuotaLimits,
                         testing::Values("", ":", "1:", ":1", "a", "1:b", "-1:2", "1:2:3", "1 :2",
                                         "100000000000000", "99999999999999999999"));

class QuotaCommand : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE_VIEW(); }

    void config(const std::string& more) {
        node_.write_config(101, "VE_PRIVATE=\"" + area_.path() + "\"\n" + more);
    }
    ChildResult run(const std::string& arguments) {
        return node_.run([&] {
            const int status = system((std::string(QXQUOTA) + " " + arguments).c_str());
            fflush(nullptr);
            _exit(WEXITSTATUS(status));
        });
    }

    TempDir area_;
    qx_test::NodeView node_;
};

TEST_F(QuotaCommand, PrintsTwoLinesOfThreeNumbers) {
    area_.write("file", "");
    config("DISKSPACE=\"10:20\"\nDISKINODES=\"30:40\"\n");
    const ChildResult result = run("-b stat 101");
    long long numbers[6] = {};
    ASSERT_EQ(sscanf(result.output.out.c_str(), "%14lli %14lli %14lli\n%14lli %14lli %14lli\n",
                     numbers, numbers + 1, numbers + 2, numbers + 3, numbers + 4, numbers + 5),
              6);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(numbers[1], 10);
    EXPECT_EQ(numbers[2], 20);
    EXPECT_EQ(numbers[3], 2);
    EXPECT_EQ(numbers[4], 30);
    EXPECT_EQ(numbers[5], 40);
}

TEST_F(QuotaCommand, IsWhatTheCheckerReadsInodesFrom) {
    area_.write("file", "");
    config("");
    node_.install_tool("qxquota", std::string("#!/bin/sh\nexec ") + QXQUOTA + " \"$@\"\n");
    EXPECT_EQ(node_.run([] { printf("%d", get_inodes_count(101)); }).output.out, "2");
}

TEST_F(QuotaCommand, LabelsItsLinesForPeople) {
    config("");
    const std::string text = run("stat 101").output.out;
    EXPECT_NE(text.find("usage"), std::string::npos);
    EXPECT_NE(text.find("\nblocks "), std::string::npos);
    EXPECT_NE(text.find("\ninodes "), std::string::npos);
}

TEST_F(QuotaCommand, AnUnknownContainerHasItsStatus) {
    const ChildResult result = run("-b stat 999");
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.output.out, "");
    EXPECT_EQ(result.output.err, "qxquota: no container 999\n");
}

TEST_F(QuotaCommand, FailsWhenTheAreaIsNotThere) {
    node_.write_config(101, "VE_PRIVATE=\"/nonexistent/area\"\n");
    const ChildResult result = run("-b stat 101");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, "qxquota: /nonexistent/area: No such file or directory\n");
}

TEST_F(QuotaCommand, FailsOnABadLimit) {
    config("DISKSPACE=\"much\"\n");
    const ChildResult result = run("-b stat 101");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err,
              "qxquota: /etc/sysconfig/qx-scripts/101.conf: DISKSPACE: \"much\" is not "
              "\"soft:hard\"\n");
}

TEST_F(QuotaCommand, WrongUsageHasItsStatus) {
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run("stat").status, 2);
    EXPECT_EQ(run("stat x").status, 2);
    EXPECT_EQ(run("stat 0").status, 2);
    EXPECT_EQ(run("report 1").status, 2);
}

TEST_F(QuotaCommand, HelpNamesParametersAndStatuses) {
    const ChildResult result = run("--help");
    EXPECT_EQ(result.status, 0);
    for (const char* text : {"stat", "DISKSPACE", "DISKINODES", "Exit status", "Examples"}) {
        EXPECT_NE(result.output.out.find(text), std::string::npos) << text;
    }
}

}  // namespace
