// Messages: which function writes where, at which level, in which form; and the log file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "src/common.h"
#include "tests/support/child.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::captured;
using qx_test::in_child;
using qx_test::Output;
using qx_test::read_file;
using qx_test::TempDir;

int log_message(int newline, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = write_log(format, arguments, newline);
    va_end(arguments);
    return result;
}

std::string without_times(std::string text) {
    regex_t time;
    EXPECT_EQ(regcomp(&time, "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}[+-][0-9]{4}", REG_EXTENDED), 0);
    for (regmatch_t match; regexec(&time, text.c_str(), 1, &match, 0) == 0;) {
        text.replace(static_cast<size_t>(match.rm_so),
                     static_cast<size_t>(match.rm_eo - match.rm_so), "TIME");
    }
    regfree(&time);
    return text;
}

class Log : public testing::Test {
protected:
    void TearDown() override { set_log(0, nullptr, nullptr); }

    // Logs to a file of the test's own.
    void log_at(int level, const char* progname = nullptr) {
        set_log(level, log_.c_str(), progname);
    }
    // The log with every time replaced by "TIME".
    std::string logged() { return without_times(read_file(log_)); }
    bool has_log() { return access(log_.c_str(), F_OK) == 0; }

    TempDir dir_;
    std::string log_ = dir_.path("log");
};

TEST_F(Log, SettingsAreZeroAtFirst) {
    const auto result = in_child([] {
        _exit(qxfsutil_debug_level == 0 && qxfsutil_debug_logfile == nullptr &&
                      qxfsutil_debug_progname == nullptr
                  ? 0
                  : 1);
    });
    EXPECT_EQ(result.status, 0);
}

TEST_F(Log, SetLogKeepsCopies) {
    std::string file = "/some/log";
    std::string prog = "prog";
    set_log(3, file.c_str(), prog.c_str());
    file[0] = prog[0] = 'X';
    EXPECT_EQ(qxfsutil_debug_level, 3);
    EXPECT_STREQ(qxfsutil_debug_logfile, "/some/log");
    EXPECT_STREQ(qxfsutil_debug_progname, "prog");
}

TEST_F(Log, SetLogKeepsNullAsNull) {
    set_log(1, "x", "y");
    set_log(0, nullptr, nullptr);
    EXPECT_EQ(qxfsutil_debug_logfile, nullptr);
    EXPECT_EQ(qxfsutil_debug_progname, nullptr);
}

TEST_F(Log, SetLogTakesTheCurrentTextsAgain) {
    set_log(1, "file", "prog");
    set_log(2, qxfsutil_debug_logfile, qxfsutil_debug_progname);
    EXPECT_STREQ(qxfsutil_debug_logfile, "file");
    EXPECT_STREQ(qxfsutil_debug_progname, "prog");
}

TEST_F(Log, SetLogDoesNotFreeWhatACallerStored) {
    static char own[] = "own";
    set_log(0, "file", nullptr);
    qxfsutil_debug_logfile = own;
    set_log(0, nullptr, nullptr);
    EXPECT_STREQ(own, "own");
}

TEST_F(Log, WithoutALogFileNothingIsWrittenAndThatIsSuccess) {
    const Output output = captured([] { EXPECT_EQ(log_message(1, "text %d", 1), 0); });
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(Log, LinesHoldTimeAndMessage) {
    log_at(0);
    EXPECT_EQ(log_message(1, "text %d", 7), 0);
    EXPECT_EQ(logged(), "TIME : text 7\n");
}

TEST_F(Log, LinesHoldTheProgramNameWhenOneIsSet) {
    log_at(0, "prog");
    log_message(1, "text");
    EXPECT_EQ(logged(), "TIME prog : text\n");
}

TEST_F(Log, TheNewlineIsTheCallersChoice) {
    log_at(0);
    log_message(0, "a");
    log_message(1, "b");
    EXPECT_EQ(logged(), "TIME : aTIME : b\n");
}

TEST_F(Log, TheTimeIsLocal) {
    log_at(0);
    const auto result = in_child([] {
        setenv("TZ", "XXX-05:30", 1);
        log_message(1, "a");
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(read_file(log_), testing::HasSubstr("+0530 : a\n"));
}

TEST_F(Log, AppendsToWhatStands) {
    dir_.write("log", "before\n");
    log_at(0);
    log_message(1, "after");
    EXPECT_EQ(logged(), "before\nTIME : after\n");
}

TEST_F(Log, AFileThatCannotBeOpenedGivesMinusOne) {
    set_log(0, dir_.path("none/log").c_str(), nullptr);
    EXPECT_EQ(log_message(1, "a"), -1);
}

TEST_F(Log, AFailedWriteGivesMinusTwo) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "needs /dev/full";
    }
    set_log(0, "/dev/full", nullptr);
    EXPECT_EQ(log_message(1, "%s", std::string(100000, 'x').c_str()), -2);
}

TEST_F(Log, AFailedCloseGivesMinusThree) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "needs /dev/full";
    }
    set_log(0, "/dev/full", nullptr);
    EXPECT_EQ(log_message(1, "short"), -3);
}

TEST_F(Log, TheFileIsOpenedForEveryLine) {
    log_at(0);
    log_message(1, "a");
    ASSERT_EQ(unlink(log_.c_str()), 0);
    log_message(1, "b");
    EXPECT_EQ(logged(), "TIME : b\n");
}

TEST_F(Log, DebugPrintWritesToStandardErrorAndLogWithoutNewline) {
    log_at(0);
    const Output output = captured([] { debug_print(4, "a%db", 5); });
    EXPECT_EQ(output.err, "a5b");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(logged(), "TIME : a5b");
}

TEST_F(Log, DebugPrintTakesMessagesOfAnyLength) {
    const std::string text(100000, 'x');
    EXPECT_EQ(captured([&] { debug_print(1, "%s", text.c_str()); }).err, text);
}

TEST_F(Log, WarningIsSilentUpToLevelOne) {
    log_at(1);
    const Output output = captured([] { warning(ENOENT, "w"); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_FALSE(has_log());
}

TEST_F(Log, WarningGoesToStandardOutputWithTheSystemsText) {
    log_at(2);
    const Output output = captured([] { warning(ENOENT, "w %s", "x"); });
    EXPECT_EQ(output.out, "Warning: w x: No such file or directory\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(logged(), "TIME : w x\n");
}

TEST_F(Log, WarningWithoutAnErrorEndsItsLine) {
    log_at(2);
    EXPECT_EQ(captured([] { warning(0, "w"); }).out, "Warning: w\n");
}

TEST_F(Log, WerrorIsSilentUpToLevelOne) {
    log_at(1);
    const Output output = captured([] { werror(ENOENT, "e"); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_FALSE(has_log());
}

TEST_F(Log, WerrorGoesToStandardErrorWithTheSystemsText) {
    log_at(2);
    const Output output = captured([] { werror(EACCES, "e %d", 1); });
    EXPECT_EQ(output.err, "Error: e 1: Permission denied\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(logged(), "TIME : e 1\n");
}

TEST_F(Log, WerrorWithoutAnErrorEndsItsLine) {
    log_at(2);
    EXPECT_EQ(captured([] { werror(0, "e"); }).err, "Error: e\n");
}

TEST_F(Log, ErrorSpeaksAtEveryLevel) {
    log_at(0);
    const Output output = captured([] { error(0, ENOENT, "e %d", 1); });
    EXPECT_EQ(output.err, "Error: e 1: No such file or directory\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(logged(), "TIME : e 1\n");
}

TEST_F(Log, ErrorWithoutAnErrorEndsItsLine) {
    // The C library's function of this name would begin with the program's name.
    EXPECT_EQ(captured([] { error(0, 0, "e"); }).err, "Error: e\n");
}

TEST_F(Log, ErrorWithAStatusEndsTheProcess) {
    const auto result = in_child([] { error(42, 0, "end"); });
    EXPECT_EQ(result.status, 42);
    EXPECT_EQ(result.output.err, "Error: end\n");
}

TEST_F(Log, FatalEndsTheProcessWithStatusOne) {
    const auto result = in_child([] { common::fatal(ENOENT, "end %d", 1); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, "Error: end 1: No such file or directory\n");
}

void assert_for_test(const char* given) {
    QXFS_ASSERT(given != nullptr);
}

TEST_F(Log, AnAssertionThatHoldsIsSilent) {
    EXPECT_EQ(captured([] { assert_for_test("x"); }).err, "");
}

TEST_F(Log, AnAssertionNamesItsPlaceAndEndsTheProcess) {
    const auto result = in_child([] { assert_for_test(nullptr); });
    EXPECT_EQ(result.status, 255);
    EXPECT_THAT(
        result.output.err,
        testing::MatchesRegex("Error: ASSERTION FAILED: src/common\\([1-9][0-9]*\\), function "
                              "'assert_for_test\\(\\)', condition: given != nullptr\n"));
}

}  // namespace
