// Runs programs with posix_spawn(3) and reads both outputs at the same time; see subprocess.h.
#include "base/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <string_view>

#include "base/fd.h"

namespace base {

namespace {

constexpr int kCannotStart = 127;
constexpr int kSignalBase = 128;

struct Pipe {
    Fd read;
    Fd write;

    bool open() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return false;
        }
        read = Fd(ends[0]);
        write = Fd(ends[1]);
        return fcntl(read.get(), F_SETFL, O_NONBLOCK) == 0;
    }
};

/// Splits a stream into lines.
class LineCutter {
public:
    using OnLine = std::function<void(const std::string&)>;

    explicit LineCutter(const OnLine& onLine) : m_onLine(onLine) {}

    void add(std::string_view block) {
        while (!block.empty()) {
            const std::size_t room = ProcessOptions::kMaxLine - m_line.size();
            const std::size_t end = std::min(block.find('\n'), block.size());
            const std::size_t take = std::min(end, room);
            m_line.append(block.substr(0, take));
            const bool ended = take < block.size() && block[take] == '\n';
            block.remove_prefix(take + (ended ? 1 : 0));
            if (ended || m_line.size() == ProcessOptions::kMaxLine) {
                flush();
            }
        }
    }

    void finish() {
        if (!m_line.empty()) {
            flush();
        }
    }

private:
    void flush() {
        const std::string line = std::exchange(m_line, {});
        if (m_onLine) {
            m_onLine(line);
        }
    }

    const OnLine& m_onLine;
    std::string m_line;
};

/// The attributes and actions for posix_spawn.
class SpawnPlan {
public:
    SpawnPlan(int out, int err) {
        check(posix_spawn_file_actions_init(&m_actions));
        check(posix_spawnattr_init(&m_attributes));
        check(posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        check(posix_spawn_file_actions_adddup2(&m_actions, out, STDOUT_FILENO));
        check(posix_spawn_file_actions_adddup2(&m_actions, err, STDERR_FILENO));
        // The program must not get descriptors of the process that loaded us.
        check(posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
        sigset_t none;
        sigemptyset(&none);
        check(posix_spawnattr_setsigmask(&m_attributes, &none));
        sigset_t ignoredByHosts;
        sigemptyset(&ignoredByHosts);
        sigaddset(&ignoredByHosts, SIGPIPE);
        sigaddset(&ignoredByHosts, SIGCHLD);  // sandboxes wait without end for a child that is gone
        check(posix_spawnattr_setsigdefault(&m_attributes, &ignoredByHosts));
        check(posix_spawnattr_setflags(&m_attributes,
                                       POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// @return 0 or an errno.
    int spawn(pid_t& child, const std::vector<std::string>& argv,
              const std::vector<std::string>& environment) {
        if (m_failure != 0) {
            return m_failure;
        }
        std::vector<char*> words = pointersTo(argv);
        std::vector<char*> variables = pointersTo(environment);
        return posix_spawnp(&child, words[0], &m_actions, &m_attributes, words.data(),
                            variables.data());
    }

private:
    static std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
        std::vector<char*> pointers;
        pointers.reserve(texts.size() + 1);
        for (const auto& text : texts) {
            pointers.push_back(const_cast<char*>(text.c_str()));
        }
        pointers.push_back(nullptr);
        return pointers;
    }

    /// If preparing fails (out of memory), do not start the program: it would write to our own
    /// output.
    void check(int failure) { m_failure = m_failure == 0 ? failure : m_failure; }

    int m_failure = 0;
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

std::vector<std::string> environmentWith(const std::vector<std::string>& changes) {
    std::vector<std::string> all(changes);
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        const std::string_view entry = *variable;
        const std::string_view name = entry.substr(0, entry.find('='));
        const bool replaced =
            std::any_of(changes.begin(), changes.end(), [&](const std::string& change) {
                return change.size() > name.size() && change.starts_with(name) &&
                       change[name.size()] == '=';
            });
        if (!replaced) {
            all.emplace_back(entry);
        }
    }
    return all;
}

/// Reads what is available. @return false at the end of the stream.
template <typename Sink>
bool drain(const Fd& fd, const Sink& sink) {
    char block[16384];
    for (;;) {
        const ssize_t got = read(fd.get(), block, sizeof(block));
        if (got > 0) {
            sink(std::string_view(block, static_cast<std::size_t>(got)));
        } else if (got == 0) {
            return false;
        } else if (errno != EINTR) {
            return errno == EAGAIN;
        }
    }
}

class Run {
public:
    Run(const ProcessOptions& options, ProcessResult& result)
        : m_outLines(options.onLine), m_errorLines(options.onErrorLine), m_result(result) {}

    bool openPipes() { return m_out.open() && m_error.open(); }

    int start(const std::vector<std::string>& argv, const std::vector<std::string>& environment) {
        SpawnPlan plan(m_out.write.get(), m_error.write.get());
        const int failure = plan.spawn(m_child, argv, environmentWith(environment));
        m_out.write.close();
        m_error.write.close();
        return failure;
    }

    void follow() {
        // This C library's header for pidfd_open(2) is not for C++.
        const Fd ended(static_cast<int>(syscall(SYS_pidfd_open, m_child, 0)));
        bool running = true;
        while (running && (m_out.read || m_error.read)) {
            pollfd waits[] = {{m_out.read.get(), POLLIN, 0},
                              {m_error.read.get(), POLLIN, 0},
                              {ended.get(), POLLIN, 0}};
            if (poll(waits, std::size(waits), -1) < 0 && errno != EINTR) {
                break;
            }
            running = waits[2].revents == 0;
            drainBoth();
        }
        m_outLines.finish();
        m_errorLines.finish();
    }

    /// Closes our ends, so that a program that goes on writing gets an error from its pipe.
    void closeOutputs() {
        m_out.read.close();
        m_error.read.close();
    }

    void wait() {
        int status = 0;
        while (waitpid(m_child, &status, 0) < 0) {
            if (errno != EINTR) {
                m_result.code = errno;
                return;
            }
        }
        m_result.kind =
            WIFEXITED(status) ? ProcessResult::Kind::exited : ProcessResult::Kind::signalled;
        m_result.code = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    }

private:
    void drainBoth() {
        if (m_out.read && !drain(m_out.read, [&](auto block) { m_outLines.add(block); })) {
            m_out.read.close();
        }
        const auto keep = [&](std::string_view block) {
            std::string& tail = m_result.errorTail;
            tail += block;
            if (tail.size() > ProcessOptions::kMaxErrorTail) {
                tail.erase(0, tail.size() - ProcessOptions::kMaxErrorTail);
            }
            m_errorLines.add(block);
        };
        if (m_error.read && !drain(m_error.read, keep)) {
            m_error.read.close();
        }
    }

    LineCutter m_outLines;
    LineCutter m_errorLines;
    ProcessResult& m_result;
    Pipe m_out;
    Pipe m_error;
    pid_t m_child = -1;
};

std::string lastLine(std::string_view text) {
    constexpr std::string_view space = " \t\r\n";
    const auto end = text.find_last_not_of(space);
    if (end == std::string_view::npos) {
        return {};
    }
    text = text.substr(0, end + 1);
    const auto begin = text.rfind('\n');
    return std::string(begin == std::string_view::npos ? text : text.substr(begin + 1));
}

}  // namespace

int ProcessResult::exitStatus() const {
    switch (kind) {
        case Kind::exited:
            return code;
        case Kind::signalled:
            return kSignalBase + code;
        case Kind::notStarted:
            break;
    }
    return kCannotStart;
}

std::string ProcessResult::reason() const {
    if (kind == Kind::notStarted) {
        return "cannot start '" + program + "': " + std::strerror(code);
    }
    const std::string line = lastLine(errorTail);
    if (!line.empty()) {
        return line;
    }
    if (kind == Kind::signalled) {
        return "killed by signal " + std::to_string(code) + " (" + strsignal(code) + ")";
    }
    return "exited with code " + std::to_string(code);
}

ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    ProcessResult result;
    if (argv.empty() || argv.front().empty()) {
        result.code = ENOENT;
        return result;
    }
    result.program = argv.front();
    Run run(options, result);
    if (!run.openPipes()) {
        result.code = errno;
        return result;
    }
    const int failure = run.start(argv, options.environment);
    if (failure != 0) {
        result.code = failure;
        return result;
    }
    std::exception_ptr thrown;
    try {
        run.follow();
    } catch (...) {
        thrown = std::current_exception();
    }
    run.closeOutputs();
    run.wait();
    if (thrown) {
        std::rethrow_exception(thrown);
    }
    return result;
}

}  // namespace base
