// Interrupting a change that runs in a process of its own.
#include "node/qxpkg/supervisor.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "node/qxpkg/failure.h"
#include "tests/support/temp_dir.h"

namespace {

// Runs the action in a child, since a supervisor takes over the process's signals and children.
int inChild(const std::function<int()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(action());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

[[noreturn]] void hang() {
    for (;;) {
        pause();
    }
}

TEST(QxpkgSupervisor, TheResultOfAChangeIsHandedOn) {
    for (const int code : {0, 1, 27, 33}) {
        EXPECT_EQ(inChild([&] { return qxpkg::runInterruptibly([&] { return code; }, [] {}); }),
                  code);
    }
}

TEST(QxpkgSupervisor, AChangeThatIsKilledGivesItsSignal) {
    EXPECT_EQ(inChild([] {
                  return qxpkg::runInterruptibly(
                      [] {
                          raise(SIGKILL);
                          return 0;
                      },
                      [] {});
              }),
              128 + SIGKILL);
}

TEST(QxpkgSupervisor, AnInterruptEndsTheChangeAndCleansUp) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const qx_test::TempDir files;
        const int code = inChild([&] {
            return qxpkg::runInterruptibly(
                [&]() -> int {
                    kill(getppid(), signal);
                    hang();
                },
                [&] { files.write("cleaned", ""); });
        });
        EXPECT_EQ(code, qxpkg::kInterrupted);
        EXPECT_TRUE(std::filesystem::exists(files.path("cleaned")));
    }
}

TEST(QxpkgSupervisor, WhatTheChangeStartedIsGoneBeforeTheCleaning) {
    const qx_test::TempDir files;
    const int code = inChild([&] {
        const pid_t supervisor = getpid();
        return qxpkg::runInterruptibly(
            [&]() -> int {
                // Dies with its parent, as the sandbox of an engine does.
                const pid_t engine = fork();
                if (engine == 0) {
                    prctl(PR_SET_PDEATHSIG, SIGKILL);
                    files.write("engine", std::to_string(getpid()));
                    kill(supervisor, SIGTERM);
                    hang();
                }
                hang();
            },
            [&] {
                const pid_t engine = std::stoi(qx_test::read_file(files.path("engine")));
                files.write(kill(engine, 0) != 0 ? "gone" : "alive", "");
            });
    });
    EXPECT_EQ(code, qxpkg::kInterrupted);
    EXPECT_TRUE(std::filesystem::exists(files.path("gone")));
}

TEST(QxpkgSupervisor, TheChangeStandsApartFromTheTerminalsGroup) {
    EXPECT_EQ(inChild([] {
                  return qxpkg::runInterruptibly([] { return getpgrp() == getpid() ? 0 : 1; },
                                                 [] {});
              }),
              0);
}

}  // namespace
