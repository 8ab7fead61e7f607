// The agent's settings, the node's EID, and the log.
#include "node/agent/settings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "QXL/QXLConfiguration.h"
#include "tests/support/test_node.h"

namespace {

using qx_test::read_file;
using qx_test::TestNode;
using QXL::QXLConfiguration;
using QXL::QXLEID;

constexpr const char* kLog = "/var/lib/qxagent/agent.log";

TEST(AgentSettingsTest, HaveDefaultsWithoutAFile) {
    const auto settings = QXL::readAgentSettings("/nowhere/agent.toml");
    EXPECT_EQ(settings.eid, std::nullopt);
    EXPECT_EQ(settings.logLevel, QXL::kLogWarning);
    EXPECT_EQ(settings.logFile, kLog);
    EXPECT_EQ(settings.fault, "");
}

TEST(AgentSettingsTest, AreReadFromTheFile) {
    const qx_test::TempDir dir;
    const auto settings =
        QXL::readAgentSettings(dir.write("a", std::string("eid = '") + TestNode::kEid +
                                                  "'\n[log]\nlevel = 'debug'\nfile = '/x.log'\n"));
    EXPECT_EQ(settings.eid, QXLEID::fromString(TestNode::kEid));
    EXPECT_EQ(settings.logLevel, QXL::kLogDebug);
    EXPECT_EQ(settings.logFile, "/x.log");
}

TEST(AgentSettingsTest, NameWhatIsWrong) {
    const qx_test::TempDir dir;
    const std::string file = dir.write("a", "eid = 'x'\n");
    EXPECT_EQ(QXL::readAgentSettings(file).fault, file + ":1: key 'eid': 'x' is not a UUID");
    dir.write("a", "[log]\nlevel = 'loud'\n");
    EXPECT_EQ(QXL::readAgentSettings(file).fault,
              file +
                  ":2: key 'log.level': expected 'error', 'warning', 'info' or 'debug', found "
                  "'loud'");
}

class AgentNodeTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    TestNode node;
};

TEST_F(AgentNodeTest, HasTheEidOfItsSettings) {
    node.run([] { EXPECT_EQ(QXLConfiguration::getLocalEID().toString(), TestNode::kEid); });
}

TEST_F(AgentNodeTest, KeepsItsEidOverALoad) {
    node.run([] {
        const QXLEID before = QXLConfiguration::getLocalEID();
        std::filesystem::remove("/etc/qxagent/agent.toml");
        EXPECT_EQ(QXLConfiguration::getLocalEID(), before);
    });
}

TEST_F(AgentNodeTest, GetsAnEidOnceWhenItHasNone) {
    std::filesystem::remove(node.path("/etc/qxagent/agent.toml"));
    node.run([] { EXPECT_TRUE(QXLConfiguration::getLocalEID().isValid()); });
    const std::string written = read_file(node.path("/etc/qxagent/agent.toml"));
    node.run([&] {
        EXPECT_EQ("eid = \"" + QXLConfiguration::getLocalEID().toString() + "\"\n", written);
    });
    EXPECT_EQ(read_file(node.path("/etc/qxagent/agent.toml")), written);
}

TEST_F(AgentNodeTest, KeepsOtherSettingsWhenItGetsAnEid) {
    node.write("/etc/qxagent/agent.toml", "[log]\nlevel = 'info'\n");
    node.run([] {
        const auto eid = QXLConfiguration::getLocalEID();
        EXPECT_EQ(QXL::readAgentSettings().eid, eid);
        EXPECT_EQ(QXL::readAgentSettings().logLevel, QXL::kLogInfo);
    });
}

TEST_F(AgentNodeTest, DerivesAnEidFromTheMachineWhenNoneCanBeWritten) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to continue as another user";
    }
    std::filesystem::remove(node.path("/etc/qxagent/agent.toml"));
    const qx_test::TempDir shared;
    std::filesystem::permissions(shared.path(), std::filesystem::perms::all);
    for (const char* file : {"first", "second"}) {
        node.runAs(65534, [&] { shared.write(file, QXLConfiguration::getLocalEID().toString()); });
    }
    EXPECT_TRUE(QXLEID::fromString(read_file(shared.path("first"))).isValid());
    EXPECT_EQ(read_file(shared.path("first")), read_file(shared.path("second")));
}

TEST_F(AgentNodeTest, LeavesBrokenSettingsAsTheyAreAndLogsThem) {
    node.write("/etc/qxagent/agent.toml", "eid = 'x'\n");
    node.run([] {
        EXPECT_TRUE(QXLConfiguration::getLocalEID().isValid());
        EXPECT_EQ(read_file("/etc/qxagent/agent.toml"), "eid = 'x'\n");
        EXPECT_NE(read_file(kLog).find("/etc/qxagent/agent.toml:1: key 'eid': 'x' is not a UUID"),
                  std::string::npos);
    });
}

TEST_F(AgentNodeTest, LogsLevelsUpToTheOneThatIsSet) {
    node.run([] {
        QXL::Log.put(QXL::kLogError, "%s %d", "bad", 1);
        QXL::Log.put(QXL::kLogWarning, "odd");
        QXL::Log.put(QXL::kLogInfo, "chatter");
        const std::string log = read_file(kLog);
        EXPECT_NE(log.find(" error bad 1\n"), std::string::npos) << log;
        EXPECT_NE(log.find(" warning odd\n"), std::string::npos) << log;
        EXPECT_EQ(log.find("chatter"), std::string::npos) << log;
    });
}

TEST_F(AgentNodeTest, LogsToTheFileAndLevelOfItsSettings) {
    node.write("/etc/qxagent/agent.toml",
               "[log]\nlevel = 'debug'\nfile = '/var/lib/qxagent/other.log'\n");
    node.run([] {
        QXL::Log.put(QXL::kLogDebug, "detail");
        EXPECT_NE(read_file("/var/lib/qxagent/other.log").find(" debug detail\n"),
                  std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(kLog));
    });
}

TEST_F(AgentNodeTest, KeepsALogLineOnOneLine) {
    node.run([] {
        QXL::Log.put(QXL::kLogError, "name '%s'", "a\nfake line\x1b[2J");
        const std::string log = read_file(kLog);
        EXPECT_NE(log.find("name 'a\\x0afake line\\x1b[2J'\n"), std::string::npos) << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    });
}

TEST_F(AgentNodeTest, LogsNowhereWithoutTheFolderAndMakesNone) {
    node.write("/etc/qxagent/agent.toml", "[log]\nfile = '/var/lib/qxagent/gone/a.log'\n");
    node.run([] {
        QXL::Log.put(QXL::kLogError, "lost");
        EXPECT_FALSE(std::filesystem::exists("/var/lib/qxagent/gone"));
    });
}

TEST_F(AgentNodeTest, LogsNowhereWhenTheFileCannotBeWritten) {
    node.write("/etc/qxagent/agent.toml", "[log]\nfile = '/var/lib/qxagent'\n");
    node.run([] { EXPECT_NO_THROW(QXL::Log.put(QXL::kLogError, "lost")); });
}

}  // namespace
