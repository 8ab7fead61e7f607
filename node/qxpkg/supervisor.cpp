// See supervisor.h.
#include "node/qxpkg/supervisor.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "base/system_error.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr std::array kInterrupts{SIGINT, SIGTERM, SIGHUP};
constexpr int kSignalBase = 128;

/// How long to wait for killed processes to end.
constexpr struct timespec kGrace { 10, 0 };

/// Blocks signals as long as the object exists, so that they can be waited for.
class BlockedSignals {
public:
    BlockedSignals() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGCHLD);
        for (const int signal : kInterrupts) {
            sigaddset(&m_signals, signal);
        }
        sigprocmask(SIG_BLOCK, &m_signals, &m_before);
    }
    ~BlockedSignals() { restore(); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    void restore() const { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

    [[nodiscard]] int next() const {
        int signal = 0;
        while ((signal = sigwaitinfo(&m_signals, nullptr)) < 0) {
        }
        return signal;
    }

    /// False if no child ended in time.
    [[nodiscard]] bool waitForChild(const struct timespec& time) const {
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        return sigtimedwait(&child, nullptr, &time) >= 0 || errno == EINTR;
    }

private:
    sigset_t m_signals{};
    sigset_t m_before{};
};

/// Kills all remaining processes. Orphans of the worker have become children of this process.
void endEverything(pid_t worker, const BlockedSignals& signals) {
    kill(worker, SIGKILL);
    for (;;) {
        const pid_t ended = waitpid(-1, nullptr, WNOHANG);
        if (ended < 0 && errno == ECHILD) {
            return;
        }
        if (ended == 0 && !signals.waitForChild(kGrace)) {
            return;
        }
    }
}

/// The worker's result; -1 while it runs.
int resultOf(pid_t worker) {
    int status = 0;
    const pid_t ended = waitpid(worker, &status, WNOHANG);
    if (ended != worker) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
}

[[noreturn]] void work(const std::function<int()>& change, const BlockedSignals& signals,
                       pid_t supervisor) {
    // If the supervisor dies, the change must end, too.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != supervisor) {
        _exit(kFailed);
    }
    // A terminal interrupts the whole foreground group, but only the supervisor must react.
    setpgid(0, 0);
    signals.restore();
    const int result = change();
    std::fflush(nullptr);
    std::exit(result);
}

}  // namespace

int runInterruptibly(const std::function<int()>& change, const std::function<void()>& cleanUp) {
    const BlockedSignals signals;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::fflush(nullptr);
    const pid_t supervisor = getpid();
    const pid_t worker = fork();
    if (worker < 0) {
        throw Failure(base::systemError("start", "a process of its own"));
    }
    if (worker == 0) {
        work(change, signals, supervisor);
    }
    for (;;) {
        const int signal = signals.next();
        if (signal != SIGCHLD) {
            endEverything(worker, signals);
            cleanUp();
            return kInterrupted;
        }
        const int result = resultOf(worker);
        if (result >= 0) {
            return result;
        }
    }
}

}  // namespace qxpkg
