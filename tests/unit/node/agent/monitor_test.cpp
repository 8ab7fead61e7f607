// The raw request to the package monitor, and the cache that it rebuilds.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "QXL/QXLError.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLRawRequestAgent.h"
#include "QXL/QXLToken.h"
#include "layout/paths.h"
#include "node/agent/database.h"
#include "node/agent/error_store.h"
#include "node/agent/kr_templates.h"
#include "tests/support/test_node.h"

namespace {

using namespace QXL;
using qx_test::TestNode;

int request(const char* command, const char* target) {
    QXLRawRequestAgent agent(QXLEID::EID_INVALID, nullptr);
    const std::unique_ptr<QXLMessageIterator> body(agent.beginCommand(command, 0, target));
    EXPECT_TRUE(body);
    return agent.endCommand();
}

int synchronize() {
    return request("synchronize_local", "qxapkgmonitor");
}

std::vector<std::string> cachedPackages() {
    SQLite::Database database = openDatabase(qxnode::kPackageMonitor, DatabaseMode::readOnly);
    SQLite::Statement select(
        database,
        "SELECT technology || ' ' || os || ' ' || name || ' ' || version || ' ' ||"
        " is_os || ' ' || summary FROM package ORDER BY technology, os, name, version");
    std::vector<std::string> rows;
    while (select.executeStep()) {
        rows.push_back(select.getColumn(0).getString());
    }
    return rows;
}

constexpr const char* kStandard =
    "technology = \"standard\"\nname = \"base\"\nversion = \"20\"\nkind = \"os\"\n"
    "summary = \"Base\"\n";

using Rows = std::vector<std::string>;

std::string krOs(const std::string& name, const std::string& rest = "") {
    return "technology = 'kr'\nkind = 'os'\npackaging = 'deb'\nname = '" + name + "'\n" + rest;
}

std::string krApplication(const std::string& os, const std::string& name,
                          const std::string& rest = "") {
    return "technology = 'kr'\nkind = 'app'\nos = '" + os + "'\nname = '" + name + "'\n" + rest;
}

class PackageMonitorTest : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        node.write("/qx/template/base/20/template.toml", kStandard);
        node.write("/qx/template/base/20/root/etc/motd", "x");
    }

    TestNode node;
};

TEST_F(PackageMonitorTest, CachesTheTemplatesOfBothTechnologies) {
    node.write("/qx/template/kr/debian/template.toml", krOs("debian", "summary = 'Debian'\n"));
    node.write("/qx/template/kr/debian/app/vim.toml",
               krApplication("debian", "vim", "summary = 'Editor'\n"));
    node.run([] {
        EXPECT_EQ(synchronize(), 0) << getLastErrorData().message;
        EXPECT_EQ(cachedPackages(), (Rows{"kr  .debian  1 Debian", "kr .debian .vim  0 Editor",
                                          "standard  base 20 1 Base"}));
    });
}

TEST_F(PackageMonitorTest, ForgetsTemplatesThatAreGone) {
    node.run([] {
        ASSERT_EQ(synchronize(), 0);
        std::filesystem::remove_all("/qx/template/base");
        EXPECT_EQ(synchronize(), 0);
        EXPECT_EQ(cachedPackages(), Rows{});
    });
}

TEST_F(PackageMonitorTest, KeepsTheOldCacheWhenItFails) {
    node.run([] {
        ASSERT_EQ(synchronize(), 0);
        const auto before = cachedPackages();
        std::filesystem::create_directories("/qx/template/kr");
        std::filesystem::remove("/qx/template/kr");
        ASSERT_TRUE(std::ofstream("/qx/template/kr") << "no folder");
        setErrorMessage("%s", "of the request");
        EXPECT_NE(synchronize(), 0);
        EXPECT_NE(getLastErrorData().code, 0);
        EXPECT_NE(getLastErrorData().message.find("/qx/template/kr"), std::string::npos)
            << getLastErrorData().message;
        EXPECT_STREQ(getErrorMessage(), "of the request");
        EXPECT_EQ(cachedPackages(), before);
    });
}

TEST_F(PackageMonitorTest, LeavesBrokenKrMetadataOutAndLogsIt) {
    node.write("/qx/template/kr/debian/template.toml", "summary = 7\n" + krOs("debian"));
    node.run([] {
        EXPECT_EQ(synchronize(), 0);
        EXPECT_EQ(cachedPackages(), Rows{"standard  base 20 1 Base"});
        const std::string log = qx_test::read_file(qxnode::kAgentLog);
        EXPECT_NE(log.find("package monitor: left out: /qx/template/kr/debian/template.toml:1: "
                           "key 'summary': expected a string, found integer"),
                  std::string::npos)
            << log;
    });
}

TEST_F(PackageMonitorTest, LeavesTheRequestsMessageAloneWhenItSucceeds) {
    node.write("/qx/template/bad/1/template.toml", "nonsense");
    node.run([] {
        setErrorMessage("%s", "of the request");
        synchronize();
        EXPECT_STREQ(getErrorMessage(), "of the request");
    });
}

TEST_F(PackageMonitorTest, ReportsACacheThatCannotBeWritten) {
    node.run([] {
        std::filesystem::create_directory(qxnode::kPackageMonitor);
        EXPECT_NE(synchronize(), 0);
        EXPECT_NE(getLastErrorData().message.find(qxnode::kPackageMonitor), std::string::npos);
    });
}

TEST_F(PackageMonitorTest, RefusesAUserWithoutTheRightButNotTheAgent) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to continue as another user";
    }
    std::filesystem::permissions(node.path("/var/lib/qxagent"), std::filesystem::perms::all);
    node.runAs(65534, [] {
        EXPECT_EQ(synchronize(), 414);
        EXPECT_EQ(getLastErrorData().code, 414);
        const QXLTokenHolder agent(QXLToken::getAgentToken());
        EXPECT_EQ(synchronize(), 0) << getLastErrorData().message;
    });
}

TEST(RawRequestTest, KnowsNoOtherOperatorAndNoOtherCommand) {
    setErrorMessage("%s", "of the request");
    EXPECT_NE(request("synchronize_local", "nobody"), 0);
    EXPECT_EQ(getLastErrorData().message, "unknown operator 'nobody'");
    EXPECT_NE(request("dance", "qxapkgmonitor"), 0);
    EXPECT_EQ(getLastErrorData().message, "qxapkgmonitor: unknown command 'dance'");
    EXPECT_STREQ(getErrorMessage(), "of the request");
}

TEST_F(PackageMonitorTest, IsNotSentACommandAfterOneThatCouldNotBeBegun) {
    node.run([] {
        QXLRawRequestAgent agent(QXLEID::EID_INVALID, nullptr);
        const std::unique_ptr<QXLMessageIterator> body(
            agent.beginCommand("synchronize_local", 0, "qxapkgmonitor"));
        ASSERT_EQ(agent.beginCommand("", 0, "qxapkgmonitor"), nullptr);
        EXPECT_NE(agent.endCommand(), 0);
    });
}

TEST_F(PackageMonitorTest, CannotBeAskedThroughAnotherAgentOrWithoutNames) {
    node.run([] {
        const char* other = "33333333-0000-4000-8000-000000000001";
        QXLRawRequestAgent remote(QXLEID::fromString(other), nullptr);
        EXPECT_EQ(remote.beginCommand("synchronize_local", 0, "qxapkgmonitor"), nullptr);
        EXPECT_NE(getLastErrorData().message.find(other), std::string::npos);
        QXLRawRequestAgent local(QXLEID::EID_LOCAL, nullptr);
        EXPECT_EQ(local.beginCommand(nullptr, 0, "qxapkgmonitor"), nullptr);
        EXPECT_EQ(local.beginCommand("x", 0, ""), nullptr);
        EXPECT_EQ(local.endCommand(), getLastErrorData().code);
        EXPECT_EQ(getLastErrorData().message, "no command was begun");
    });
}

TEST(KrTemplatesTest, AreNoneWithoutTheFolder) {
    EXPECT_TRUE(readKrTemplates("/nowhere", [](const std::string&) {}).empty());
}

TEST(KrTemplatesTest, ComeInOrderWithDottedNames) {
    const qx_test::TempDir dir;
    dir.write("b/template.toml", krOs("b"));
    dir.write("b/app/y.toml", krApplication("b", "y", "version = '1'\narchitecture = 'noarch'\n"));
    dir.write("b/app/x.toml", krApplication("b", "x"));
    dir.write("b/app/notes.txt", "");
    dir.write("a/template.toml", krOs("a"));
    dir.write(".new/template.toml", krOs("new"));
    dir.write("no-manifest/file", "");
    std::vector<std::string> names;
    for (const auto& one : readKrTemplates(dir.path(), [](const std::string&) {})) {
        names.push_back(one.osName + "/" + one.name + "/" + one.version + one.architecture);
    }
    EXPECT_EQ(names, (Rows{"/.a/", "/.b/", ".b/.x/", ".b/.y/1noarch"}));
}

}  // namespace
