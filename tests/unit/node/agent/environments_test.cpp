// The environment cache and what is read in a container's configuration.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>

#include "QXA/QXAEnvConfig.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLEnv.h"
#include "node/agent/env_cache.h"
#include "node/agent/env_config_message.h"
#include "tests/support/test_node.h"

namespace {

using qx_test::TestNode;
using QXA::QXAEnvConfig;
using QXA::QXATemplate;
using QXL::QXLEID;

constexpr const char* kEidOne = "11111111-0000-4000-8000-000000000001";
constexpr const char* kEidTwo = "22222222-0000-4000-8000-000000000002";

std::string eidLine(const char* eid) {
    return std::string("EID=\"") + eid + "\"\n";
}

constexpr const char* kFolder = "/etc/sysconfig/qx-scripts";

std::pair<std::shared_ptr<QXL::QXLEnvList>, std::vector<std::string>> readAll() {
    std::vector<std::string> reports;
    auto list =
        QXL::readEnvironments(kFolder, [&](const std::string& line) { reports.push_back(line); });
    return {std::move(list), std::move(reports)};
}

class EnvCacheTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    TestNode node;
};

TEST_F(EnvCacheTest, GivesAContainerOfThisNodeByDefault) {
    node.writeContainer(101, eidLine(kEidOne) + "OSTEMPLATE=\".debian\"\nTEMPLATES=\"vim\"\n");
    node.run([] {
        const auto env = QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidOne));
        ASSERT_TRUE(env);
        EXPECT_EQ(env->getParentEID().toString(), TestNode::kEid);
        EXPECT_EQ(env->getType(), "meridane");
        EXPECT_EQ(env->getConfig().getOS(), ".debian");
        EXPECT_EQ(env->getConfig().kind(), 1);
        int veid = 0;
        EXPECT_EQ(QXAEnvConfig(env->getConfig()).getVeid(veid), 0);
        EXPECT_EQ(veid, 101);
    });
}

TEST_F(EnvCacheTest, TakesParentAndTypeFromTheConfiguration) {
    node.writeContainer(101,
                        eidLine(kEidOne) + "PARENT_EID=\"" + kEidTwo + "\"\nVE_TYPE=\"other\"\n");
    node.run([] {
        const auto env = QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidOne));
        ASSERT_TRUE(env);
        EXPECT_EQ(env->getParentEID().toString(), kEidTwo);
        EXPECT_EQ(env->getType(), "other");
    });
}

TEST_F(EnvCacheTest, TakesAnEmptyParentAndTypeForTheUsualOnes) {
    node.writeContainer(101, eidLine(kEidOne) + "PARENT_EID=\"\"\nVE_TYPE=\"\"\n");
    node.run([] {
        const auto env = QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidOne));
        ASSERT_TRUE(env);
        EXPECT_EQ(env->getParentEID().toString(), TestNode::kEid);
        EXPECT_EQ(env->getType(), "meridane");
    });
}

TEST_F(EnvCacheTest, TellsTemplatesThatAreNotSpecifiedFromNone) {
    node.writeContainer(101, eidLine(kEidOne));
    node.writeContainer(102, eidLine(kEidTwo) + "TEMPLATES=\"\"\n");
    node.run([] {
        std::optional<std::vector<QXATemplate>> templates;
        const auto cache = QXL::envCache();
        const auto unspecified = cache->getEnvCopy(QXLEID::fromString(kEidOne));
        EXPECT_EQ(QXAEnvConfig(unspecified->getConfig()).getTemplates(templates), 0);
        EXPECT_EQ(templates, std::nullopt);
        const auto none = cache->getEnvCopy(QXLEID::fromString(kEidTwo));
        EXPECT_EQ(QXAEnvConfig(none->getConfig()).getTemplates(templates), 0);
        EXPECT_EQ(templates, std::vector<QXATemplate>{});
    });
}

TEST_F(EnvCacheTest, ListsContainersByNumber) {
    node.writeContainer(20, eidLine(kEidOne));
    node.writeContainer(3, eidLine(kEidTwo));
    node.run([] {
        const auto list = QXL::envCache()->getEnvList();
        ASSERT_TRUE(list);
        ASSERT_EQ(list->size(), 2U);
        EXPECT_EQ((*list)[0]->getEID().toString(), kEidTwo);
        EXPECT_EQ((*list)[1]->getEID().toString(), kEidOne);
    });
}

TEST_F(EnvCacheTest, ServesAContainerWithTheNumberZero) {
    node.writeContainer(0, eidLine(kEidOne));
    node.run([] {
        const auto env = QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidOne));
        ASSERT_TRUE(env);
        int veid = 7;
        EXPECT_EQ(QXAEnvConfig(env->getConfig()).getVeid(veid), 0);
        EXPECT_EQ(veid, 0);
    });
}

TEST_F(EnvCacheTest, KnowsNoContainerOfAnotherEid) {
    node.writeContainer(101, eidLine(kEidOne));
    node.run([] {
        EXPECT_EQ(QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidTwo)), nullptr);
        EXPECT_EQ(QXL::envCache()->getEnvCopy(QXLEID::EID_LOCAL), nullptr);
    });
}

TEST_F(EnvCacheTest, SeesWhatChangedSinceItWasMade) {
    node.writeContainer(101, eidLine(kEidOne));
    node.run([] {
        const auto cache = QXL::envCache();
        std::filesystem::remove("/etc/sysconfig/qx-scripts/101.conf");
        EXPECT_EQ(cache->getEnvCopy(QXLEID::fromString(kEidOne)), nullptr);
    });
}

TEST_F(EnvCacheTest, LosesOnlyTheContainerWhoseFileIsBrokenAndSaysWhichLine) {
    node.writeContainer(101, eidLine(kEidOne));
    node.writeContainer(102, eidLine(kEidTwo) + "nonsense\n");
    node.run([] {
        EXPECT_EQ(QXL::envCache()->getEnvList()->size(), 1U);
        EXPECT_EQ(QXL::envCache()->getEnvList()->size(), 1U);
        const std::string log = qx_test::read_file("/var/lib/qxagent/agent.log");
        const std::string expected =
            "error container left out: /etc/sysconfig/qx-scripts/102.conf:2: no NAME=\"value\"\n";
        EXPECT_TRUE(log.ends_with(expected)) << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << "logged once, not per request";
    });
}

TEST_F(EnvCacheTest, IsNullWithoutTheFolder) {
    node.run([] {
        ASSERT_TRUE(QXL::envCache());
        ASSERT_EQ(mount("tmpfs", "/etc/sysconfig", "tmpfs", 0, nullptr), 0);
        EXPECT_EQ(QXL::envCache(), nullptr);
    });
}

TEST_F(EnvCacheTest, GivesNoListWhereTheFolderCannotBeReached) {
    node.run([] {
        ASSERT_EQ(mount("tmpfs", "/etc/sysconfig", "tmpfs", 0, nullptr), 0);
        std::filesystem::create_symlink("qx-scripts", "/etc/sysconfig/qx-scripts");
        ASSERT_TRUE(QXL::envCache());
        EXPECT_EQ(QXL::envCache()->getEnvList(), nullptr);
    });
}

TEST_F(EnvCacheTest, GivesNoListOfAFolderThatCannotBeRead) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to continue as another user";
    }
    node.writeContainer(101, eidLine(kEidOne));
    std::filesystem::permissions(node.path("/etc/sysconfig/qx-scripts"),
                                 std::filesystem::perms::owner_all);
    node.runAs(65534, [] {
        ASSERT_TRUE(QXL::envCache());
        EXPECT_EQ(QXL::envCache()->getEnvList(), nullptr);
        EXPECT_EQ(QXL::envCache()->getEnvCopy(QXLEID::fromString(kEidOne)), nullptr);
    });
}

struct BadConfig {
    const char* defect;
    std::string text;
    const char* reason;
};

class BadConfigTest : public EnvCacheTest, public testing::WithParamInterface<BadConfig> {};

TEST_P(BadConfigTest, IsLeftOutWithFileLineAndReason) {
    node.writeContainer(7, GetParam().text);
    node.run([] {
        const auto [list, reports] = readAll();
        ASSERT_TRUE(list);
        EXPECT_TRUE(list->empty());
        EXPECT_EQ(reports,
                  std::vector<std::string>{std::string(kFolder) + "/7.conf" + GetParam().reason});
    });
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadConfigTest,
    testing::Values(BadConfig{"no_eid", "A=\"1\"\n", ": EID is missing"},
                    BadConfig{"eid_no_uuid", "\nEID=\"7\"\n", ":2: EID '7' is not a UUID"},
                    BadConfig{"eid_alias", "EID=\"local\"\n", ":1: EID 'local' is not a UUID"},
                    BadConfig{"parent_no_uuid", eidLine(kEidOne) + "PARENT_EID=\"x\"\n",
                              ":2: PARENT_EID 'x' is not a UUID"}),
    [](const auto& config) { return std::string(config.param.defect); });

TEST_F(EnvCacheTest, LetsTheSmallerNumberHaveAnEidThatIsThereTwice) {
    node.writeContainer(7, eidLine(kEidOne));
    node.writeContainer(30, eidLine(kEidOne));
    node.run([] {
        const auto [list, reports] = readAll();
        ASSERT_EQ(list->size(), 1U);
        EXPECT_EQ((*list)[0]->getConfig().message()->veid, 7);
        EXPECT_EQ(reports,
                  std::vector<std::string>{std::string(kFolder) + "/30.conf:1: EID is that of " +
                                           kFolder + "/7.conf too"});
    });
}

TEST_F(EnvCacheTest, RefusesTheNodesOwnEidForAContainer) {
    node.writeContainer(7, eidLine(TestNode::kEid));
    node.run([] {
        EXPECT_EQ(readAll().second, std::vector<std::string>{std::string(kFolder) +
                                                             "/7.conf:1: EID is the node's own"});
    });
}

TEST_F(EnvCacheTest, PassesFilesOfOtherNamesOver) {
    node.write(std::string(kFolder) + "/readme.txt", "nonsense");
    node.write(std::string(kFolder) + "/.7.lock", "pid");
    node.run([] {
        const auto [list, reports] = readAll();
        EXPECT_TRUE(list->empty());
        EXPECT_TRUE(reports.empty());
    });
}

QXAEnvConfig configOf(std::optional<std::string> os,
                      std::optional<std::vector<std::string>> templates) {
    auto message = std::make_shared<QXL::QXLEnvConfigMessage>();
    message->osTemplate = std::move(os);
    message->templates = std::move(templates);
    return QXAEnvConfig(QXL::QXLEnvConfig(message));
}

TEST(EnvConfigTest, CannotBeReadWithoutContent) {
    const QXAEnvConfig config;
    int veid = 7;
    std::optional<QXATemplate> os;
    std::optional<std::vector<QXATemplate>> templates;
    EXPECT_NE(config.getVeid(veid), 0);
    EXPECT_NE(config.getOsTemplate(os), 0);
    EXPECT_NE(config.getTemplates(templates), 0);
    EXPECT_EQ(veid, 7);
    EXPECT_EQ(config.getOS(), "");
    EXPECT_EQ(config.kind(), 1);
}

TEST(EnvConfigTest, KnowsUnspecifiedItems) {
    const auto config = configOf(std::nullopt, std::nullopt);
    std::optional<QXATemplate> os = QXATemplate("x", "");
    std::optional<std::vector<QXATemplate>> templates = std::vector<QXATemplate>(1);
    EXPECT_EQ(config.getOsTemplate(os), 0);
    EXPECT_EQ(config.getTemplates(templates), 0);
    EXPECT_EQ(os, std::nullopt);
    EXPECT_EQ(templates, std::nullopt);
    EXPECT_EQ(config.getOS(), "");
}

TEST(EnvConfigTest, TakesAnEmptyOsTemplateAsUnspecified) {
    std::optional<QXATemplate> os;
    EXPECT_EQ(configOf("", std::nullopt).getOsTemplate(os), 0);
    EXPECT_EQ(os, std::nullopt);
}

TEST(EnvConfigTest, SplitsNameAndVersion) {
    const auto config = configOf("base/20", std::vector<std::string>{"vim/1", "emacs"});
    std::optional<QXATemplate> os;
    std::optional<std::vector<QXATemplate>> templates;
    ASSERT_EQ(config.getOsTemplate(os), 0);
    ASSERT_EQ(config.getTemplates(templates), 0);
    EXPECT_EQ(os, QXATemplate("base", "20"));
    EXPECT_EQ(templates, (std::vector<QXATemplate>{{"vim", "1"}, {"emacs", ""}}));
    EXPECT_EQ(config.getOS(), "base");
}

TEST(EnvConfigTest, DotsNamesOfKrTemplatesOnce) {
    const auto config = configOf(".debian", std::vector<std::string>{"vim", ".emacs"});
    std::optional<std::vector<QXATemplate>> templates;
    ASSERT_EQ(config.getTemplates(templates), 0);
    EXPECT_EQ(templates, (std::vector<QXATemplate>{{".vim", ""}, {".emacs", ""}}));
    EXPECT_EQ(config.getOS(), ".debian");
}

TEST(EnvConfigTest, CannotReadWhatIsNoTemplateName) {
    for (const char* text : {"/1", "base/", "base/1/2"}) {
        std::optional<QXATemplate> os;
        EXPECT_NE(configOf(text, std::nullopt).getOsTemplate(os), 0) << text;
        std::optional<std::vector<QXATemplate>> templates;
        EXPECT_NE(configOf("base", std::vector<std::string>{text}).getTemplates(templates), 0)
            << text;
    }
}

}  // namespace
