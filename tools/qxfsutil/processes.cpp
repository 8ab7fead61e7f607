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
#include <map>
#include <vector>

#include "tools/qxfsutil/exit_code.h"

namespace qxfsutil {

namespace {

struct Job {
    pid_t pid = -1;
    int output = -1;
    bool ended = false;
    int exitCode = kExitOperational;
};

void start(Job& job, std::size_t place, const std::function<int(std::size_t)>& work) {
    job.output = memfd_create("output", MFD_CLOEXEC);
    std::fflush(nullptr);
    job.pid = job.output < 0 ? -1 : fork();
    if (job.pid == 0) {
        dup2(job.output, STDOUT_FILENO);
        const int exitCode = work(place);
        std::fflush(nullptr);
        _exit(exitCode);
    }
    if (job.pid < 0) {
        std::fprintf(stderr, "qxfsutil: can't start a process: %s\n", std::strerror(errno));
        job.ended = true;
    }
}

void waitForOne(std::vector<Job>& jobs) {
    int status = 0;
    const pid_t pid = wait(&status);
    for (auto& job : jobs) {
        if (job.pid == pid && pid > 0) {
            job.ended = true;
            if (WIFEXITED(status)) {
                job.exitCode = WEXITSTATUS(status);
            } else {
                std::fprintf(stderr, "qxfsutil: a check was ended by signal %s\n",
                             strsignal(WTERMSIG(status)));
            }
        }
    }
}

void show(const Job& job) {
    std::array<char, 65536> buffer;
    off_t offset = 0;
    for (ssize_t got = pread(job.output, buffer.data(), buffer.size(), offset); got > 0;
         got = pread(job.output, buffer.data(), buffer.size(), offset)) {
        std::fwrite(buffer.data(), 1, static_cast<std::size_t>(got), stdout);
        offset += got;
    }
    close(job.output);
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

}  // namespace qxfsutil
