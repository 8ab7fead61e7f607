// Work in processes of its own: what of it comes back.
#include "tools/qxfsutil/processes.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/support/capture.h"
#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {
namespace {

TEST(Processes, printInTheOrderOfTheirWorkAndGiveTheGreatestExitCode) {
    int exitCode = -1;
    const auto output = qx_test::captured([&] {
        exitCode = runProcesses(3, 3, [](std::size_t place) {
            std::printf("%zu\n", place);
            return place == 1 ? kExitErrorsLeft : kExitClean;
        });
    });

    EXPECT_EQ("0\n1\n2\n", output.out);
    EXPECT_EQ(kExitErrorsLeft, exitCode);
}

TEST(Processes, thatDieAreAnOperationalFailureWithTheirSignal) {
    int exitCode = -1;
    const auto output = qx_test::captured([&] {
        exitCode = runProcesses(2, 1, [](std::size_t place) {
            if (place == 0) {
                raise(SIGKILL);
            }
            return kExitClean;
        });
    });

    EXPECT_EQ(kExitOperational, exitCode);
    EXPECT_NE(std::string::npos, output.err.find("ended by signal Killed"));
}

TEST(Processes, areNotMadeForNothing) {
    EXPECT_EQ(kExitClean, runProcesses(0, 1, [](std::size_t) -> int { std::abort(); }));
}

TEST(TextFromChild, isWhatTheWorkGives) {
    std::string text;
    EXPECT_TRUE(textFromChild([] { return std::string("/qx/private/101"); }, text));
    EXPECT_EQ("/qx/private/101", text);
}

TEST(TextFromChild, isWhatAProcessThatEndedSaid) {
    std::string text;
    EXPECT_FALSE(textFromChild(
        []() -> std::string {
            std::fputs("no such container\n", stderr);
            std::exit(1);
        },
        text));
    EXPECT_EQ("no such container", text);
}

}  // namespace
}  // namespace qxfsutil
