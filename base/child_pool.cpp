// Each child writes into a file in memory; its end is awaited through its pidfd. See child_pool.h.
#include "base/child_pool.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "base/fd.h"

namespace base {

namespace {

constexpr int kAskEvery = 200;  // milliseconds between questions whether to stop

struct Child {
    pid_t pid = -1;
    Fd output;
    Fd ended;
};

std::string contentOf(int file) {
    std::string text;
    char buffer[65536];
    for (ssize_t got = 1; got > 0;) {
        got = pread(file, buffer, sizeof buffer, static_cast<off_t>(text.size()));
        text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    return text;
}

/// The child's side. Nothing of the caller's may run in it once the work is done.
[[noreturn]] void runChild(const ChildWork& work, std::size_t place, int output) noexcept {
    const int code = work(place, output);
    std::fflush(nullptr);
    _exit(code);
}

class Pool {
public:
    Pool(const ChildWork& work, const ChildSink& sink) : m_work(work), m_sink(sink) {}

    [[nodiscard]] std::size_t running() const { return m_running.size(); }

    void start(std::size_t place) {
        Child child;
        child.output = Fd(memfd_create("output", MFD_CLOEXEC));
        std::fflush(nullptr);
        child.pid = child.output ? fork() : -1;
        if (child.pid == 0) {
            runChild(m_work, place, child.output.get());
        }
        if (child.pid < 0) {
            m_done[place].failure = errno;
            return;
        }
        // This C library's header for pidfd_open(2) is not for C++.
        child.ended = Fd(static_cast<int>(syscall(SYS_pidfd_open, child.pid, 0)));
        m_running.emplace(place, std::move(child));
    }

    /// Waits for the end of some child, or for the time after which to ask again.
    void wait(int milliseconds) {
        std::vector<pollfd> polled;
        for (const auto& [place, child] : m_running) {
            polled.push_back({child.ended.get(), POLLIN, 0});
        }
        if (poll(polled.data(), polled.size(), milliseconds) < 0) {
            return;
        }
        auto at = polled.begin();
        for (auto child = m_running.begin(); child != m_running.end(); ++at) {
            // One without a pidfd is waited for by itself.
            const bool ended = at->revents != 0 || !child->second.ended;
            child = ended ? finish(child) : std::next(child);
        }
    }

    void show() {
        for (auto first = m_done.find(m_shown); first != m_done.end();
             first = m_done.find(++m_shown)) {
            m_sink(m_shown, first->second);
            m_done.erase(first);
        }
    }

    void stop() {
        for (const auto& [place, child] : m_running) {
            kill(child.pid, SIGTERM);
        }
    }

private:
    using Running = std::map<std::size_t, Child>;

    Running::iterator finish(Running::iterator at) {
        ChildResult& result = m_done[at->first];
        while (waitpid(at->second.pid, &result.status, 0) < 0 && errno == EINTR) {
        }
        result.text = contentOf(at->second.output.get());
        return m_running.erase(at);
    }

    const ChildWork& m_work;
    const ChildSink& m_sink;
    Running m_running;
    std::map<std::size_t, ChildResult> m_done;
    std::size_t m_shown = 0;
};

}  // namespace

int ChildResult::exitCode() const {
    return failure == 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string ChildResult::reason() const {
    if (failure != 0) {
        return std::string("cannot start a process: ") + std::strerror(failure);
    }
    if (WIFSIGNALED(status)) {
        return "ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    }
    return "exited with code " + std::to_string(exitCode());
}

void runChildren(std::size_t count, unsigned jobs, const ChildWork& work, const ChildSink& sink,
                 const std::function<bool()>& cancelled) {
    Pool pool(work, sink);
    bool stopped = false;
    for (std::size_t next = 0; next < count || pool.running() > 0; pool.show()) {
        if (!stopped && cancelled && cancelled()) {
            stopped = true;
            count = next;
            pool.stop();
        }
        if (next < count && pool.running() < std::max(jobs, 1U)) {
            pool.start(next++);
        } else if (pool.running() > 0) {
            pool.wait(cancelled && !stopped ? kAskEvery : -1);
        }
    }
}

}  // namespace base
