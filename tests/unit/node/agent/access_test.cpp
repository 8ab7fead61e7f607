// Access rules and the checks of a client's rights.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "QXL/QXLAccessChecker.h"
#include "QXL/QXLConfiguration.h"
#include "layout/node_dir.h"
#include "node/agent/access_rules.h"
#include "tests/support/test_node.h"

namespace {

using namespace QXL;
using qx_test::TestNode;

constexpr const char* kContainer = "11111111-0000-4000-8000-000000000001";
constexpr uid_t kUser = 65534;

const AccessTarget kNode{true, {}, {}};
const AccessTarget kCt101{false, QXLEID::fromString(kContainer), 101};
const AccessTarget kUnknownCt{
    false, QXLEID::fromString("33333333-0000-4000-8000-000000000001"), {}};

AccessRules rulesOf(std::string_view text) {
    return AccessRules::parse(qxnode::TomlTable::parse(text, "access.toml"));
}

Caller user(uid_t uid, std::vector<gid_t> groups = {}) {
    return {uid, std::move(groups), false};
}

std::string grant(const std::string& who, const std::string& rights, const std::string& on) {
    return "[[grant]]\n" + who + "\nrights = [" + rights + "]\non = [" + on + "]\n";
}

TEST(AccessRulesTest, GiveNothingWithoutAGrant) {
    EXPECT_FALSE(AccessRules().allows(user(1000), kNode, kRightListNodePackages));
}

TEST(AccessRulesTest, GiveTheOwnerOfTheNodeEverything) {
    EXPECT_TRUE(AccessRules().allows({0, {}, true}, kNode, kRightManageNodePackages));
    EXPECT_TRUE(AccessRules().allows({0, {}, true}, kUnknownCt, 4711));
}

TEST(AccessRulesTest, GiveRootOfAnotherNodeNothing) {
    EXPECT_FALSE(AccessRules().allows({0, {0}, false}, kNode, kRightListNodePackages));
}

TEST(AccessRulesTest, GiveAUserThatRightOnThatTargetOnly) {
    const auto rules = rulesOf(grant("users = [1000]", "130", "'node'"));
    EXPECT_TRUE(rules.allows(user(1000), kNode, 130));
    EXPECT_FALSE(rules.allows(user(1001), kNode, 130));
    EXPECT_FALSE(rules.allows(user(1000), kNode, 131));
    EXPECT_FALSE(rules.allows(user(1000), kCt101, 130));
}

TEST(AccessRulesTest, FindUsersAndGroupsByName) {
    const auto rules = rulesOf(grant("users = ['nobody']\ngroups = ['daemon']", "130", "'node'"));
    EXPECT_TRUE(rules.allows(user(65534), kNode, 130));
    EXPECT_TRUE(rules.allows(user(1000, {7, 1}), kNode, 130));
    EXPECT_FALSE(rules.allows(user(1000, {7}), kNode, 130));
}

TEST(AccessRulesTest, PassNamesOverThatTheSystemDoesNotKnow) {
    const auto rules = rulesOf(grant("users = ['no-such-user', 1000]", "130", "'node'"));
    EXPECT_TRUE(rules.allows(user(1000), kNode, 130));
}

TEST(AccessRulesTest, KnowRightsByName) {
    const std::pair<const char*, int> rights[] = {{"list-node-packages", 130},
                                                  {"manage-node-packages", 131},
                                                  {"list-container-packages", 56},
                                                  {"manage-container-packages", 57}};
    for (const auto& [name, number] : rights) {
        const auto rules =
            rulesOf(grant("users = [1000]", std::string("'") + name + "'", "'node', 'containers'"));
        for (const int right : {56, 57, 130, 131}) {
            EXPECT_EQ(rules.allows(user(1000), kNode, right), right == number) << name << right;
        }
    }
}

TEST(AccessRulesTest, GiveEveryRightWithAll) {
    const auto rules = rulesOf(grant("users = [1000]", "'all'", "101"));
    EXPECT_TRUE(rules.allows(user(1000), kCt101, 56));
    EXPECT_TRUE(rules.allows(user(1000), kCt101, 4711));
    EXPECT_FALSE(rules.allows(user(1000), kNode, 130));
}

TEST(AccessRulesTest, NameContainersByNumberByEidAndAllTogether) {
    EXPECT_TRUE(rulesOf(grant("users = [1]", "57", "101")).allows(user(1), kCt101, 57));
    EXPECT_FALSE(rulesOf(grant("users = [1]", "57", "102")).allows(user(1), kCt101, 57));
    const auto byEid = rulesOf(grant("users = [1]", "57", std::string("'") + kContainer + "'"));
    EXPECT_TRUE(byEid.allows(user(1), kCt101, 57));
    EXPECT_FALSE(byEid.allows(user(1), kUnknownCt, 57));
    const auto all = rulesOf(grant("users = [1]", "57", "'containers'"));
    EXPECT_TRUE(all.allows(user(1), kUnknownCt, 57));
    EXPECT_FALSE(all.allows(user(1), kNode, 57));
}

struct BadRules {
    const char* defect;
    std::string text;
    const char* error;
};

class BadRulesTest : public testing::TestWithParam<BadRules> {};

TEST_P(BadRulesTest, AreRefusedWithTheReason) {
    try {
        rulesOf(GetParam().text);
        FAIL() << "taken";
    } catch (const qxnode::Failure& error) {
        EXPECT_STREQ(error.what(), GetParam().error);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadRulesTest,
    testing::Values(
        BadRules{"unknown_top_key", "grants = 1\n", "access.toml:1: key 'grants': unknown key"},
        BadRules{"unknown_key", "[[grant]]\nuser = ['x']\n",
                 "access.toml:2: key 'grant.user': unknown key"},
        BadRules{"nobody", grant("", "56", "'node'"),
                 "access.toml:1: key 'grant.users': a grant needs users or groups"},
        BadRules{"no_target", "[[grant]]\nusers = [1]\nrights = [56]\n",
                 "access.toml:1: key 'grant.on': missing or empty"},
        BadRules{"unknown_right", grant("users = [1]", "'everything'", "'node'"),
                 "access.toml:3: key 'grant.rights': unknown right 'everything'"},
        BadRules{"unknown_target", grant("users = [1]", "56", "'local'"),
                 "access.toml:4: key 'grant.on': unknown target 'local'"},
        BadRules{"wrong_type", "[[grant]]\nusers = 'x'\n",
                 "access.toml:2: key 'grant.users': expected an array of strings and integers, "
                 "found string"}),
    [](const auto& rules) { return std::string(rules.param.defect); });

class AccessCheckerTest : public testing::Test {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root to continue as another user";
        }
        node.writeContainer(101, std::string("EID=\"") + kContainer + "\"\n");
    }

    static int check(int right) { return QXLAccessChecker::getClientContext().accessCheck(right); }
    static int check(const QXLEID& eid, int right) {
        return QXLAccessChecker::getClientContext().accessCheck(eid, right);
    }

    TestNode node;
    const QXLEID container = QXLEID::fromString(kContainer);
};

TEST_F(AccessCheckerTest, GrantsRootEverything) {
    node.run([&] {
        EXPECT_EQ(check(kRightManageNodePackages), 0);
        EXPECT_EQ(check(container, kRightManageContainerPackages), 0);
    });
}

TEST_F(AccessCheckerTest, RefusesAnotherUserWithoutARule) {
    node.runAs(kUser, [&] {
        EXPECT_NE(check(kRightListNodePackages), 0);
        EXPECT_NE(check(container, kRightListContainerPackages), 0);
    });
}

TEST_F(AccessCheckerTest, GrantsAnotherUserWhatTheRulesSay) {
    node.write("/etc/qxagent/access.toml", grant("users = ['nobody']", "130", "'node'") +
                                               grant("users = [65534]", "57", "101"));
    node.runAs(kUser, [&] {
        EXPECT_EQ(check(kRightListNodePackages), 0);
        EXPECT_EQ(check(QXLEID::EID_LOCAL, kRightListNodePackages), 0);
        EXPECT_EQ(check(QXLConfiguration::getLocalEID(), kRightListNodePackages), 0);
        EXPECT_NE(check(kRightManageNodePackages), 0);
        EXPECT_EQ(check(container, kRightManageContainerPackages), 0);
        EXPECT_NE(check(container, kRightListContainerPackages), 0);
        EXPECT_NE(check(QXLEID::EID_INVALID, kRightManageContainerPackages), 0);
    });
}

TEST_F(AccessCheckerTest, StaysTheClientsUnderTheAgentsToken) {
    node.runAs(kUser, [&] {
        const QXLTokenHolder agent(QXLToken::getAgentToken());
        EXPECT_NE(check(kRightListNodePackages), 0);
    });
}

TEST_F(AccessCheckerTest, LogsABrokenFileAndGrantsNothingOfIt) {
    node.write("/etc/qxagent/access.toml",
               grant("users = [65534]", "130", "'node'") + "[[grant]]\nusers = 7\n");
    node.write("/var/lib/qxagent/agent.log", "");
    std::filesystem::permissions(node.path("/var/lib/qxagent/agent.log"),
                                 std::filesystem::perms::all);
    node.runAs(kUser, [&] { EXPECT_NE(check(kRightListNodePackages), 0); });
    const std::string log = qx_test::read_file(node.path("/var/lib/qxagent/agent.log"));
    EXPECT_NE(log.find("error all access rules are ignored: /etc/qxagent/access.toml:6: key "),
              std::string::npos)
        << log;
    node.run([&] { EXPECT_EQ(check(kRightManageNodePackages), 0) << "root needs no rule"; });
}

class ForeignRootTest : public AccessCheckerTest {
protected:
    // Expects that a user who is root of a namespace of their own is refused on the node of root.
    // @param goOn  what they do there before they ask; false when it cannot be done.
    void expectRefused(const std::function<bool()>& goOn) const {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::string error;
            // A change of user hides /proc/self; a program that such a user starts does not have it
            // hidden.
            const bool entered = setresgid(kUser, kUser, kUser) == 0 &&
                                 setresuid(kUser, kUser, kUser) == 0 &&
                                 prctl(PR_SET_DUMPABLE, 1) == 0 &&
                                 qxnode::enterNodeDirectory(node.path(""), error) == 0;
            _exit(entered && goOn() && getuid() == 0 && check(kRightListNodePackages) != 0 ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    static bool write(const char* path, const std::string& text) {
        std::ofstream file(path);
        return static_cast<bool>(file << text << std::flush);
    }
};

TEST_F(ForeignRootTest, IsTheUserThatTheyAreOutside) {
    expectRefused([] { return Caller::ofProcess().uid == kUser; });
}

TEST_F(ForeignRootTest, IsNotRootOfTheMachineInANamespaceWithinTheirOwn) {
    expectRefused([] {
        return unshare(CLONE_NEWUSER) == 0 && write("/proc/self/setgroups", "deny") &&
               write("/proc/self/uid_map", "0 0 1") && write("/proc/self/gid_map", "0 0 1");
    });
}

TEST_F(ForeignRootTest, IsNotRootOfTheMachineWhereNoMapIsToBeSeen) {
    node.write("/etc/qxagent/access.toml", grant("users = [0]", "130", "'node'"));
    expectRefused([] { return mount("tmpfs", "/proc", "tmpfs", 0, nullptr) == 0; });
}

}  // namespace
