// Running programs: output by lines, exit codes, signals, programs that cannot be started.
#include "base/subprocess.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <stdexcept>

#include "tests/support/temp_dir.h"

namespace {

using base::ProcessOptions;
using base::ProcessResult;
using base::runProcess;
using Kind = ProcessResult::Kind;

ProcessResult shell(const std::string& script, const ProcessOptions& options = {}) {
    return runProcess({"sh", "-c", script}, options);
}

std::vector<std::string> linesOf(const std::string& script) {
    std::vector<std::string> lines;
    ProcessOptions options;
    options.onLine = [&](const std::string& line) { lines.push_back(line); };
    EXPECT_TRUE(shell(script, options).succeeded());
    return lines;
}

using Lines = std::vector<std::string>;

TEST(SubprocessTest, HandsOverEachLineWithoutItsEnd) {
    EXPECT_EQ(linesOf("printf 'a\\n\\n b \\n'"), (Lines{"a", "", " b "}));
}

TEST(SubprocessTest, CountsALastLineWithoutAnEnd) {
    EXPECT_EQ(linesOf("printf 'a\\nb'"), (Lines{"a", "b"}));
}

TEST(SubprocessTest, CutsLinesThatAreTooLong) {
    const auto lines = linesOf("head -c 1048577 /dev/zero | tr '\\0' x; echo y");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], std::string(ProcessOptions::kMaxLine, 'x'));
    EXPECT_EQ(lines[1], "xy");
}

TEST(SubprocessTest, GivesNoStandardInput) {
    EXPECT_EQ(linesOf("cat; echo end"), (Lines{"end"}));
}

TEST(SubprocessTest, HandsWordsOverWithoutAShell) {
    Lines lines;
    ProcessOptions options;
    options.onLine = [&](const std::string& line) { lines.push_back(line); };
    runProcess({"printf", "%s\\n", "$HOME; a  b"}, options);
    EXPECT_EQ(lines, (Lines{"$HOME; a  b"}));
}

TEST(SubprocessTest, ProgramsDoNotIgnoreWhatTheirHostIgnores) {
    Lines lines;
    ProcessOptions options;
    options.onLine = [&](const std::string& line) { lines.push_back(line); };
    const auto pipe = signal(SIGPIPE, SIG_IGN);
    const auto children = signal(SIGCHLD, SIG_IGN);

    runProcess({"grep", "SigIgn", "/proc/self/status"}, options);

    signal(SIGPIPE, pipe);
    signal(SIGCHLD, children);
    ASSERT_EQ(lines.size(), 1U);
    const auto ignored = std::stoull(lines[0].substr(lines[0].find('\t')), nullptr, 16);
    EXPECT_EQ(ignored & (1ULL << (SIGPIPE - 1) | 1ULL << (SIGCHLD - 1)), 0U) << lines[0];
}

TEST(SubprocessTest, DrainsBothOutputsTogether) {
    std::size_t bytes = 0;
    ProcessOptions options;
    options.onLine = [&](const std::string& line) { bytes += line.size() + 1; };
    const auto result = shell(
        "for i in 1 2 3 4 5 6 7 8; do head -c 65536 /dev/zero | tr '\\0' '\\n'; "
        "head -c 65536 /dev/zero | tr '\\0' '\\n' >&2; done",
        options);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(bytes, 8U * 65536U);
    EXPECT_EQ(result.errorTail.size(), ProcessOptions::kMaxErrorTail);
}

TEST(SubprocessTest, GivesTheExitCodeAsItIs) {
    const auto result = shell("exit 33");
    EXPECT_EQ(result.kind, Kind::exited);
    EXPECT_EQ(result.exitStatus(), 33);
    EXPECT_EQ(result.reason(), "exited with code 33");
}

TEST(SubprocessTest, TakesTheLastNonEmptyErrorLineAsTheReason) {
    EXPECT_EQ(shell("echo first >&2; echo 'the reason ' >&2; echo '  ' >&2; exit 1").reason(),
              "the reason");
}

TEST(SubprocessTest, TellsDeathByASignalApart) {
    const auto result = shell("kill -9 $$");
    EXPECT_EQ(result.kind, Kind::signalled);
    EXPECT_EQ(result.exitStatus(), 137);
    EXPECT_EQ(result.reason(), "killed by signal 9 (Killed)");
}

TEST(SubprocessTest, TellsAProgramThatIsNotThereApartFromExitCode127) {
    const auto missing = runProcess({"/nowhere/program"});
    EXPECT_EQ(missing.kind, Kind::notStarted);
    EXPECT_EQ(missing.exitStatus(), 127);
    EXPECT_EQ(missing.reason(), "cannot start '/nowhere/program': No such file or directory");
    EXPECT_EQ(shell("exit 127").kind, Kind::exited);
}

TEST(SubprocessTest, DoesNotStartAFileThatIsNotExecutable) {
    const qx_test::TempDir dir;
    const auto result = runProcess({dir.write("text", "echo no\n")});
    EXPECT_EQ(result.kind, Kind::notStarted);
    EXPECT_EQ(result.code, EACCES);
}

TEST(SubprocessTest, RefusesAnEmptyCommand) {
    EXPECT_EQ(runProcess({}).exitStatus(), 127);
    EXPECT_EQ(runProcess({""}).exitStatus(), 127);
}

TEST(SubprocessTest, ReplacesAndExtendsTheEnvironment) {
    setenv("QX_TEST_A", "old", 1);
    Lines lines;
    ProcessOptions options;
    options.onLine = [&](const std::string& line) { lines.push_back(line); };
    options.environment = {"QX_TEST_A=new", "QX_TEST_B=more"};
    shell("echo $QX_TEST_A $QX_TEST_B", options);
    unsetenv("QX_TEST_A");
    EXPECT_EQ(lines, (Lines{"new more"}));
}

TEST(SubprocessTest, DoesNotWaitForWhatStaysInTheBackground) {
    const qx_test::TempDir dir;
    ASSERT_EQ(shell("mkfifo " + dir.path("stop")).exitStatus(), 0);
    // The background process holds both outputs open until somebody opens the fifo.
    EXPECT_TRUE(shell("(read x < " + dir.path("stop") + ") & exit 0").succeeded());
    EXPECT_TRUE(shell("echo > " + dir.path("stop")).succeeded());
}

TEST(SubprocessTest, EndsAProgramWhoseReaderThrew) {
    ProcessOptions options;
    options.onLine = [](const std::string&) { throw std::runtime_error("enough"); };
    EXPECT_THROW(shell("yes", options), std::runtime_error);
}

TEST(SubprocessTest, LeavesNoDescriptorBehind) {
    const std::size_t before = qx_test::open_descriptors();
    shell("echo x");
    runProcess({"/nowhere/program"});
    EXPECT_EQ(qx_test::open_descriptors(), before);
}

}  // namespace
