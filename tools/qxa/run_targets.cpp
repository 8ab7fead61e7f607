// Runs requests at the same time, each in a process of its own, and returns the outcomes in order.
#include "tools/qxa/run_targets.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <map>

namespace qxa {

namespace {

struct Worker {
    pid_t pid = -1;
    int pipe = -1;
    std::string text;
};

void sendAll(int fd, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const auto written = write(fd, text.data() + sent, text.size() - sent);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(written);
    }
}

Outcome failure(const Target& target, const std::string& operation, const std::string& message) {
    Outcome outcome;
    outcome.operation = operation;
    outcome.target = target.label;
    outcome.code = -1;
    outcome.message = message;
    outcome.exitCode = kExitFailed;
    return outcome;
}

/// The runner's outcome as text. It catches every exception: in a worker process an exception must
/// not reach the code of the calling process, which the fork has copied.
std::string sentOutcome(const Target& target, const std::string& operation,
                        const TargetRunner& runner) {
    try {
        return serialize(runner(target));
    } catch (const std::exception& error) {
        return serialize(failure(target, operation, error.what()));
    }
}

bool start(const Target& target, const std::string& operation, const TargetRunner& runner,
           Worker& worker) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    worker.pid = fork();
    if (worker.pid == 0) {
        close(ends[0]);
        sendAll(ends[1], sentOutcome(target, operation, runner));
        _exit(0);
    }
    close(ends[1]);
    if (worker.pid < 0) {
        close(ends[0]);
        return false;
    }
    worker.pipe = ends[0];
    return true;
}

/// Reads output of a worker. @return true at its end.
bool drain(Worker& worker) {
    char buffer[65536];
    const auto got = read(worker.pipe, buffer, sizeof buffer);
    if (got > 0) {
        worker.text.append(buffer, static_cast<std::size_t>(got));
        return false;
    }
    return got == 0 || errno != EINTR;
}

Outcome finish(const Target& target, const std::string& operation, Worker& worker) {
    close(worker.pipe);
    int status = 0;
    while (waitpid(worker.pid, &status, 0) < 0 && errno == EINTR) {
    }
    Outcome outcome;
    if (deserialize(worker.text, outcome)) {
        return outcome;
    }
    return failure(target, operation,
                   WIFSIGNALED(status) ? std::string("the request was ended by signal ") +
                                             strsignal(WTERMSIG(status))
                                       : std::string("the request ended without an outcome"));
}

/// Waits for output of a worker and reads it; moves finished workers from `running` to `done`.
void collect(const std::vector<Target>& targets, const std::string& operation,
             std::map<std::size_t, Worker>& running, std::map<std::size_t, Outcome>& done) {
    std::vector<pollfd> polled;
    std::vector<std::size_t> indexes;
    for (const auto& [index, worker] : running) {
        polled.push_back({worker.pipe, POLLIN, 0});
        indexes.push_back(index);
    }
    if (poll(polled.data(), polled.size(), -1) < 0) {
        return;
    }
    for (std::size_t i = 0; i < polled.size(); ++i) {
        if (polled[i].revents == 0 || !drain(running.at(indexes[i]))) {
            continue;
        }
        done.emplace(indexes[i], finish(targets[indexes[i]], operation, running.at(indexes[i])));
        running.erase(indexes[i]);
    }
}

}  // namespace

void runOnTargets(const std::vector<Target>& targets, const std::string& operation, unsigned jobs,
                  const TargetRunner& runner, const OutcomeSink& sink) {
    if (targets.size() == 1) {
        sink(runner(targets.front()));
        return;
    }
    std::map<std::size_t, Worker> running;
    std::map<std::size_t, Outcome> done;
    std::size_t next = 0;
    std::size_t shown = 0;
    while (shown < targets.size()) {
        while (next < targets.size() && running.size() < std::max(jobs, 1U)) {
            Worker worker;
            if (start(targets[next], operation, runner, worker)) {
                running.emplace(next, std::move(worker));
            } else {
                done.emplace(
                    next, failure(targets[next], operation,
                                  std::string("cannot start a process: ") + std::strerror(errno)));
            }
            ++next;
        }
        if (!running.empty()) {
            collect(targets, operation, running, done);
        }
        for (auto found = done.find(shown); found != done.end(); found = done.find(++shown)) {
            sink(found->second);
        }
    }
}

}  // namespace qxa
