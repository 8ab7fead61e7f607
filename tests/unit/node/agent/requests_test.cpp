// The frame of requests: messages and error data, tokens, factories, the command runner.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPkgM.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLError.h"
#include "QXL/QXLLockPolicy.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLPkgMLocal.h"
#include "QXL/QXLRawRequestAgent.h"
#include "QXL/QXLToken.h"
#include "node/agent/error_store.h"
#include "tests/support/test_node.h"

namespace {

using namespace QXL;

TEST(ErrorMessageTest, IsFormatted) {
    setErrorMessage("%s is %d", "x", 7);
    EXPECT_STREQ(getErrorMessage(), "x is 7");
    clearErrorMessage();
    EXPECT_STREQ(getErrorMessage(), "");
}

TEST(ErrorMessageTest, HasNoLengthLimit) {
    const std::string text(1000000, 'x');
    setErrorMessage("%s", text.c_str());
    EXPECT_EQ(getErrorMessage(), text);
}

TEST(ErrorMessageTest, MayBeMadeOfTheOneBefore) {
    setErrorMessage("%s", "inner");
    setErrorMessage("'%s' failed - %s", getErrorMessage(), getErrorMessage());
    EXPECT_STREQ(getErrorMessage(), "'inner' failed - inner");
}

TEST(ErrorMessageTest, BelongsToItsThread) {
    setErrorMessage("%s", "mine");
    setLastErrorData(7, "mine");
    std::thread([] {
        EXPECT_STREQ(getErrorMessage(), "");
        EXPECT_EQ(getLastErrorData().code, 0);
        setErrorMessage("%s", "other");
        setLastErrorData(8, "other");
    }).join();
    EXPECT_STREQ(getErrorMessage(), "mine");
    EXPECT_EQ(getLastErrorData().code, 7);
}

TEST(ErrorMessageTest, IsAStoreApartFromTheErrorData) {
    setErrorMessage("%s", "request");
    setLastErrorData(7, "platform");
    EXPECT_STREQ(getErrorMessage(), "request");
    setErrorMessage("%s", "again");
    EXPECT_EQ(getLastErrorData().message, "platform");
}

TEST(ErrorMessageTest, IsPutBackByItsKeeper) {
    setErrorMessage("%s", "request");
    {
        const ErrorMessageKeeper keeper;
        setErrorMessage("%s", "background");
    }
    EXPECT_STREQ(getErrorMessage(), "request");
}

TEST(TokenTest, IsTheUsersUntilTheAgentsIsHeld) {
    EXPECT_FALSE(QXLToken::getCurrent().isAgent());
    {
        const QXLTokenHolder holder(QXLToken::getAgentToken());
        EXPECT_TRUE(QXLToken::getCurrent().isAgent());
        std::thread([] { EXPECT_FALSE(QXLToken::getCurrent().isAgent()); }).join();
    }
    EXPECT_FALSE(QXLToken::getCurrent().isAgent());
}

TEST(TokenTest, IsPutBackOnTheWayOutOfAnException) {
    try {
        const QXLTokenHolder holder(QXLToken::getAgentToken());
        throw 1;
    } catch (int) {
        EXPECT_FALSE(QXLToken::getCurrent().isAgent());
    }
}

TEST(RawRequestFrameTest, IsSentOnce) {
    QXLRawRequestAgent agent(QXLEID::EID_INVALID, nullptr);
    const std::unique_ptr<QXLMessageIterator> body(agent.beginCommand("dance", 0, "nobody"));
    ASSERT_NE(body, nullptr);
    EXPECT_NE(agent.endCommand(), 0);
    EXPECT_EQ(getLastErrorData().message, "unknown operator 'nobody'");
    EXPECT_NE(agent.endCommand(), 0);
    EXPECT_EQ(getLastErrorData().message, "no command was begun");
}

TEST(RawRequestFrameTest, GoesToThisNodeUnderEachOfItsEidsAndToNoOther) {
    QX_SKIP_WITHOUT_TEST_NODE();
    qx_test::TestNode node;
    node.run([] {
        for (const auto& eid :
             {QXLEID::EID_INVALID, QXLEID::EID_LOCAL, QXLConfiguration::getLocalEID()}) {
            QXLRawRequestAgent agent(eid, nullptr);
            const std::unique_ptr<QXLMessageIterator> body(agent.beginCommand("c", 0, "o"));
            EXPECT_NE(body, nullptr) << eid.toString();
        }
        const auto other = QXLEID::fromString("33333333-0000-4000-8000-000000000001");
        EXPECT_EQ(QXLRawRequestAgent(other, nullptr).beginCommand("c", 0, "o"), nullptr);
        EXPECT_NE(getLastErrorData().code, 0);
    });
}

TEST(KitTest, IsOneObject) {
    using Functionality = QXLFunctionality<QXA::QXALibFunctionality>;
    EXPECT_EQ(&Functionality::kit(), &Functionality::kit());
    EXPECT_EQ(Functionality::kit().getQXAPkgMMultiplexer().findLocalFactory("none"), nullptr);
}

using Lines = std::vector<std::string>;

bool keepLine(void* ctx, const char* line) {
    static_cast<Lines*>(ctx)->emplace_back(line);
    return false;
}

TEST(ExecTest, HandsLinesOverWhateverTheCallbackAnswers) {
    Lines lines;
    EXPECT_EQ(QXLPkgMLocal::exec({"printf", "a\\nb"}, keepLine, &lines), 0);
    EXPECT_EQ(lines, (Lines{"a", "b"}));
}

TEST(ExecTest, LeavesTheMessageAloneWhenItSucceeds) {
    setErrorMessage("%s", "before");
    EXPECT_EQ(QXLPkgMLocal::exec({"true"}, nullptr, nullptr), 0);
    EXPECT_STREQ(getErrorMessage(), "before");
}

// What fails, and who waits, is logged: on a node of the test's own.
class LoggedExecTest : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    static int shell(const char* script) {
        return QXLPkgMLocal::exec({"sh", "-c", script}, nullptr, nullptr);
    }

    qx_test::TestNode node;
};

TEST_F(LoggedExecTest, HearsToolsThatWaitWhileTheyWait) {
    node.run([] {
        Lines heard;
        setLockWaitListener([&](const std::string& line) { heard.push_back(line); });

        EXPECT_EQ(shell("echo \"waiting for 'a', held by pid 1\" >&2; echo other >&2"), 0);

        EXPECT_EQ(heard, (Lines{"waiting for 'a', held by pid 1"}));
    });
}

TEST_F(LoggedExecTest, GivesCodeAndReasonInBothStores) {
    node.run([] {
        EXPECT_EQ(shell("echo why >&2; exit 27"), 27);
        EXPECT_STREQ(getErrorMessage(), "why");
        EXPECT_EQ(getLastErrorData().code, 27);
        EXPECT_EQ(getLastErrorData().message, "why");
    });
}

TEST_F(LoggedExecTest, SaysTheCodeWhenTheProgramGaveNoReason) {
    node.run([] {
        EXPECT_EQ(shell("exit 33"), 33);
        EXPECT_STREQ(getErrorMessage(), "exited with code 33");
    });
}

TEST_F(LoggedExecTest, AddsTheSignalTo128) {
    node.run([] { EXPECT_EQ(shell("kill -15 $$"), 143); });
}

TEST_F(LoggedExecTest, LogsEveryLineThatTheProgramLeft) {
    node.run([] {
        shell("echo first >&2; echo >&2; echo last >&2; exit 1");
        const std::string log = qx_test::read_file("/var/lib/qxagent/agent.log");
        EXPECT_NE(log.find(" error sh: first\n"), std::string::npos) << log;
        EXPECT_NE(log.find(" error sh: last\n"), std::string::npos) << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
    });
}

TEST_F(LoggedExecTest, Gives127ForAProgramThatCannotBeStarted) {
    node.run([] {
        EXPECT_EQ(QXLPkgMLocal::exec({"/nowhere/program"}, nullptr, nullptr), 127);
        EXPECT_STREQ(getErrorMessage(),
                     "cannot start '/nowhere/program': No such file or directory");
        EXPECT_EQ(QXLPkgMLocal::exec({}, nullptr, nullptr), 127);
        EXPECT_EQ(QXLPkgMLocal::exec({nullptr}, nullptr, nullptr), 127);
    });
}

}  // namespace
