// The two voices of qxpkg, to programs and to terminals.
#include "node/qxpkg/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <functional>

#include "base/fd.h"
#include "tests/support/capture.h"

namespace {

using qxpkg::Output;

// What an action writes to a standard error that is a terminal of this width.
std::string onTerminal(unsigned short width, const std::function<void()>& action) {
    int master = -1;
    int slave = -1;
    struct winsize size {};
    size.ws_col = width;
    struct termios plain {};
    cfmakeraw(&plain);
    EXPECT_EQ(openpty(&master, &slave, nullptr, &plain, &size), 0);
    const base::Fd reader(master);
    {
        const base::Fd before(dup(STDERR_FILENO));
        dup2(slave, STDERR_FILENO);
        close(slave);
        action();
        dup2(before.get(), STDERR_FILENO);
    }
    std::string text;
    char block[256];
    fcntl(reader.get(), F_SETFL, O_NONBLOCK);
    for (ssize_t got = 0; (got = read(reader.get(), block, sizeof(block))) > 0;) {
        text.append(block, static_cast<std::size_t>(got));
    }
    return text;
}

TEST(QxpkgOutput, QuietSaysResultsAndNoticesOnly) {
    const auto said = qx_test::captured([] {
        const Output output(true);
        output.heading("installed");
        output.step("step");
        output.progress("progress");
        output.package("one", "all", "1.0");
        output.osTemplate(".base");
        output.applicationTemplate(".base", ".web");
        output.notice("notice");
    });
    EXPECT_EQ(said.out, "one all 1.0\n.base template\n.base .web\n");
    EXPECT_EQ(said.err, "notice\n");
}

TEST(QxpkgOutput, PeopleHearStepsAndProgressLineByLine) {
    const auto said = qx_test::captured([] {
        const Output output(false);
        EXPECT_TRUE(output.keepsProgress());
        output.heading("installed");
        output.step("step");
        output.progress("progress");
        output.endProgress();
    });
    EXPECT_EQ(said.out, "installed:\n");
    EXPECT_EQ(said.err, "step\nprogress\n");
}

TEST(QxpkgOutput, ATerminalShowsProgressInPlace) {
    const std::string shown = onTerminal(80, [] {
        const Output output(false);
        EXPECT_FALSE(output.keepsProgress());
        output.progress("first");
        output.progress("second");
        output.step("done");
    });
    EXPECT_EQ(shown, "\r\033[Kfirst\r\033[Ksecond\r\033[Kdone\n");
}

TEST(QxpkgOutput, ProgressNeitherWrapsNorSteersATerminal) {
    const std::string shown =
        onTerminal(10, [] { Output(false).progress("\033]0;title\007 and more"); });
    EXPECT_EQ(shown, "\r\033[K\\x1b]0;ti");
}

TEST(QxpkgOutput, TextOfPackagesNeitherInventsLinesNorSteersATerminal) {
    const auto said = qx_test::captured([] {
        const Output output(false);
        output.notice("script says\r\033[2Kno error");
        output.package("one\ntwo", "all", "1.0");
    });
    EXPECT_EQ(said.err, "script says\\x0d\\x1b[2Kno error\n");
    EXPECT_EQ(said.out, "one\\x0atwo all 1.0\n");
}

TEST(QxpkgOutput, AQuietTerminalGetsNoticesAlone) {
    const std::string shown = onTerminal(80, [] {
        const Output output(true);
        output.progress("progress");
        output.endProgress();
        output.notice("notice");
    });
    EXPECT_EQ(shown, "notice\n");
}

}  // namespace
