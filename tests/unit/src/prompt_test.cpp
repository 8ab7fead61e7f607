// Prompts: what is shown, which letters count, what ends an answer.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

namespace {

class PromptTest : public testing::Test {
protected:
    void SetUp() override { saved_stdin_ = dup(STDIN_FILENO); }
    void TearDown() override {
        dup2(saved_stdin_, STDIN_FILENO);
        close(saved_stdin_);
        clearerr(stdin);
        fflush(stdin);
    }

    void type(const std::string& text) {
        files_.write("typed", text);
        ASSERT_NE(nullptr, freopen(files_.path("typed").c_str(), "r", stdin));
    }
    int proc(const std::string& typed, int default_answer) {
        type(typed);
        int answer = 0;
        shown_ = qx_test::captured([&] { answer = ask_proc("What? ", default_answer); }).out;
        return answer;
    }
    int approve(const std::string& typed, int default_answer) {
        type(typed);
        int answer = 0;
        shown_ = qx_test::captured([&] { answer = ask_approve("Sure? ", default_answer); }).out;
        return answer;
    }

    qx_test::TempDir files_;
    std::string shown_;
    int saved_stdin_ = -1;
};

TEST_F(PromptTest, ProcShowsQuestionAndHintOfTheDefault) {
    proc("", 1);
    EXPECT_EQ("What? ('I'gnore/'M'ove/'R'emove)<i>? ", shown_);
    proc("", 2);
    EXPECT_EQ("What? ('I'gnore/'M'ove/'R'emove)<m>? ", shown_);
    proc("", 3);
    EXPECT_EQ("What? ('I'gnore/'M'ove/'R'emove)<r>? ", shown_);
    proc("", 4);
    EXPECT_EQ("What? ('I'gnore/'M'ove/'R'emove)<i/m/r>? ", shown_);
}

TEST_F(PromptTest, ApproveShowsQuestionAndHintOfTheDefault) {
    approve("", 3);
    EXPECT_EQ("Sure? ('Y'/'N')<y>? ", shown_);
    approve("", 4);
    EXPECT_EQ("Sure? ('Y'/'N')<n>? ", shown_);
    approve("", 1);
    EXPECT_EQ("Sure? ('Y'/'N')<y/n>? ", shown_);
}

TEST_F(PromptTest, ProcTakesBothCases) {
    EXPECT_EQ(1, proc("i\n", -1));
    EXPECT_EQ(1, proc("I\n", -1));
    EXPECT_EQ(2, proc("m\n", -1));
    EXPECT_EQ(2, proc("M\n", -1));
    EXPECT_EQ(3, proc("r\n", -1));
    EXPECT_EQ(3, proc("R\n", -1));
}

TEST_F(PromptTest, ApproveTakesBothCases) {
    EXPECT_EQ(3, approve("y\n", -1));
    EXPECT_EQ(3, approve("Y\n", -1));
    EXPECT_EQ(4, approve("n\n", -1));
    EXPECT_EQ(4, approve("N\n", -1));
}

TEST_F(PromptTest, TheDefaultCountsAtANewlineAndAtTheEndOfInput) {
    EXPECT_EQ(2, proc("\n", 2));
    EXPECT_EQ(2, proc("", 2));
    EXPECT_EQ(4, approve("\n", 4));
    EXPECT_EQ(4, approve("", 4));
}

TEST_F(PromptTest, WithoutAnswerOrDefaultTheResultIsNone) {
    EXPECT_EQ(-1, proc("", -1));
    EXPECT_EQ(-1, proc("\n \n", 0));
    EXPECT_EQ(-1, approve("x\n", -1));
}

TEST_F(PromptTest, ALetterReplacesTheDefault) {
    EXPECT_EQ(3, proc("r\n", 1));
    EXPECT_EQ(4, approve("n\n", 3));
}

TEST_F(PromptTest, TheLastLetterBeforeTheEndCounts) {
    EXPECT_EQ(2, proc("im\n", -1));
    EXPECT_EQ(3, proc("r", 1));
}

TEST_F(PromptTest, OtherCharactersAreIgnored) {
    EXPECT_EQ(2, proc("zzm!\n", -1));
}

TEST_F(PromptTest, ANewlineBeforeAChoiceIsIgnored) {
    EXPECT_EQ(3, proc("\n\n r\n", -1));
}

TEST_F(PromptTest, TheQuestionIsShownBeforeTheAnswerIsAwaited) {
    int asked[2];
    int typed[2];
    ASSERT_EQ(0, pipe(asked));
    ASSERT_EQ(0, pipe(typed));
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(asked[1], STDOUT_FILENO);
        dup2(typed[0], STDIN_FILENO);
        _exit(ask_proc("What? ", 2));
    }
    // Without the question nothing is typed, and the child waits until this gives up.
    struct pollfd shown = {asked[0], POLLIN, 0};
    char text[64] = {};
    if (poll(&shown, 1, 10000) == 1) {
        EXPECT_LT(0, read(asked[0], text, sizeof(text) - 1));
    }
    EXPECT_EQ(2, write(typed[1], "i\n", 2));
    int status = 0;
    waitpid(child, &status, 0);
    for (const int fd : {asked[0], asked[1], typed[0], typed[1]}) {
        close(fd);
    }
    EXPECT_STREQ("What? ('I'gnore/'M'ove/'R'emove)<m>? ", text);
    EXPECT_EQ(1, WEXITSTATUS(status));
}

TEST_F(PromptTest, ABlankEndsTheAnswerAndLeavesTheRestForTheNextQuestion) {
    EXPECT_EQ(1, proc("i m\n", -1));
    int second = 0;
    qx_test::captured([&] { second = ask_proc("", -1); });
    EXPECT_EQ(2, second);
}

}  // namespace
