// Runs work in child processes; each prints into a file of its own, shown when its turn has come.
#include "tools/qxfsutil/processes.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/content.h"
#include "base/fd.h"
#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

namespace {

struct Job {
    pid_t pid = -1;
    base::Fd output;
    bool ended = false;
    int exitCode = kExitOperational;
};

void complain(const char* what) {
    std::fprintf(stderr, "qxfsutil: %s: %s\n", what, std::strerror(errno));
}

std::string contentOf(int file) {
    std::string text;
    std::array<char, 65536> buffer;
    auto got = pread(file, buffer.data(), buffer.size(), 0);
    for (; got > 0;
         got = pread(file, buffer.data(), buffer.size(), static_cast<off_t>(text.size()))) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    if (got < 0) {
        complain("can't read what a process printed");
    }
    return text;
}

void start(Job& job, std::size_t place, const std::function<int(std::size_t)>& work) {
    job.output = base::Fd(memfd_create("output", MFD_CLOEXEC));
    std::fflush(nullptr);
    job.pid = job.output ? fork() : -1;
    if (job.pid == 0) {
        int exitCode = kExitOperational;
        if (dup2(job.output.get(), STDOUT_FILENO) < 0) {
            complain("can't print into a file");
        } else {
            exitCode = work(place);
        }
        std::fflush(nullptr);
        _exit(exitCode);
    }
    if (job.pid < 0) {
        complain("can't start a process");
        job.ended = true;
    }
}

void waitForOne(std::vector<Job>& jobs) {
    int status = 0;
    const pid_t pid = wait(&status);
    if (pid < 0 && errno == EINTR) {
        return;
    }
    if (pid < 0) {
        complain("can't wait for a process");
    }
    for (auto& job : jobs) {
        // Of jobs that cannot be waited for nothing will be heard any more.
        if (job.pid > 0 && (pid < 0 || job.pid == pid)) {
            job.ended = true;
        }
        if (pid < 0 || job.pid != pid) {
            continue;
        }
        if (WIFEXITED(status)) {
            job.exitCode = WEXITSTATUS(status);
        } else {
            std::fprintf(stderr, "qxfsutil: the work on an area was ended by signal %s\n",
                         strsignal(WTERMSIG(status)));
        }
    }
}

void show(Job& job) {
    const auto text = contentOf(job.output.get());
    std::fwrite(text.data(), 1, text.size(), stdout);
    job.output.close();
}

}  // namespace

int runProcesses(std::size_t count, unsigned jobs, const std::function<int(std::size_t)>& work) {
    if (count == 0) {
        return kExitClean;
    }
    if (count == 1) {
        return work(0);
    }
    std::vector<Job> all(count);
    std::size_t started = 0;
    std::size_t shown = 0;
    int exitCode = kExitClean;
    while (shown < count) {
        const auto running =
            std::count_if(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(started),
                          [](const Job& job) { return !job.ended; });
        if (started < count && static_cast<unsigned>(running) < std::max(jobs, 1U)) {
            start(all[started], started, work);
            ++started;
        } else {
            waitForOne(all);
        }
        for (; shown < started && all[shown].ended; ++shown) {
            show(all[shown]);
            exitCode = std::max(exitCode, all[shown].exitCode);
        }
    }
    return exitCode;
}

bool textFromChild(const std::function<std::string()>& work, std::string& text) {
    const base::Fd said(memfd_create("said", MFD_CLOEXEC));
    const base::Fd made(memfd_create("made", MFD_CLOEXEC));
    std::fflush(nullptr);
    const pid_t pid = said && made ? fork() : -1;
    if (pid == 0) {
        dup2(said.get(), STDERR_FILENO);
        const auto result = work();
        _exit(base::writeContent(made.get(), result) ? 0 : 1);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) {
        text = std::string("can't run a process: ") + std::strerror(errno);
        return false;
    }
    const bool done = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    text = contentOf(done ? made.get() : said.get());
    while (!done && text.ends_with('\n')) {
        text.pop_back();
    }
    return done;
}

}  // namespace qxfsutil
