// Steps a child, with all its threads, from system call to system call with ptrace.
#include "tests/support/traced_run.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <set>

namespace qx_test {

namespace {

#ifdef __x86_64__

bool changesFiles(const user_regs_struct& registers) {
    static const std::set<unsigned long long> always{
        SYS_rename,   SYS_renameat, SYS_renameat2, SYS_unlink,         SYS_unlinkat, SYS_rmdir,
        SYS_mkdir,    SYS_mkdirat,  SYS_symlink,   SYS_symlinkat,      SYS_link,     SYS_linkat,
        SYS_chmod,    SYS_fchmod,   SYS_fchmodat,  SYS_chown,          SYS_lchown,   SYS_fchown,
        SYS_fchownat, SYS_truncate, SYS_ftruncate, SYS_utimensat,      SYS_fsync,    SYS_fdatasync,
        SYS_mknod,    SYS_mknodat,  SYS_pwrite64,  SYS_copy_file_range};
    switch (registers.orig_rax) {
        case SYS_write:
        case SYS_writev:
            return registers.rdi > STDERR_FILENO;
        case SYS_open:
            return (registers.rsi & (O_CREAT | O_TRUNC)) != 0;
        case SYS_openat:
            return (registers.rdx & (O_CREAT | O_TRUNC)) != 0;
        default:
            return always.contains(registers.orig_rax);
    }
}

[[noreturn]] void runChild(const std::vector<std::string>& command) {
    const int null = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null, stream);
    }
    std::vector<char*> words;
    for (const auto& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    // The leak checker cannot work while the process is traced.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

class Tracer {
public:
    Tracer(pid_t pid, unsigned n, int failure) : m_pid(pid), m_n(n), m_failure(failure) {}

    TracedRun run() {
        m_run.started = true;
        int status = 0;
        waitpid(m_pid, &status, 0);
        ptrace(PTRACE_SETOPTIONS, m_pid, nullptr,
               PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
        m_threads[m_pid];
        ptrace(PTRACE_SYSCALL, m_pid, nullptr, 0);
        // Of a thread that waits for another one nothing is heard until that one has run; a process
        // ends only when each of its threads has been waited for.
        for (;;) {
            const pid_t thread = waitpid(-1, &status, __WALL);
            if (thread < 0) {
                return m_run;
            }
            if (WIFSTOPPED(status)) {
                stopped(thread, status);
            } else if (thread == m_pid) {
                m_run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                return m_run;
            }
        }
    }

private:
    struct Thread {
        bool entering = false;
        bool replacing = false;
    };

    void stopped(pid_t thread, int status) {
        int signal = 0;
        const bool isNew = !m_threads.contains(thread);
        Thread& state = m_threads[thread];
        if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
            state.entering = !state.entering;
            state.entering ? entering(thread, state) : leaving(thread, state, m_failure);
        } else if (WSTOPSIG(status) != SIGTRAP && !(isNew && WSTOPSIG(status) == SIGSTOP)) {
            signal = WSTOPSIG(status);
        }
        ptrace(PTRACE_SYSCALL, thread, nullptr, signal);
    }

    void entering(pid_t thread, Thread& state) {
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
        if (m_run.killed || !changesFiles(registers) || ++m_run.calls != m_n) {
            return;
        }
        if (m_failure == 0) {
            m_run.killed = kill(m_pid, SIGKILL) == 0;
            return;
        }
        registers.orig_rax = static_cast<unsigned long long>(-1);
        ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
        state.replacing = true;
    }

    static void leaving(pid_t thread, Thread& state, int failure) {
        if (state.replacing) {
            user_regs_struct registers{};
            ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
            registers.rax = static_cast<unsigned long long>(-failure);
            ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
            state.replacing = false;
        }
    }

    pid_t m_pid;
    unsigned m_n;
    int m_failure;
    std::map<pid_t, Thread> m_threads;
    TracedRun m_run;
};

TracedRun runTraced(const std::vector<std::string>& command, unsigned n, int failure) {
    const pid_t pid = fork();
    if (pid == 0) {
        runChild(command);
    }
    if (pid < 0) {
        TracedRun run;
        run.reason = std::strerror(errno);
        return run;
    }
    return Tracer(pid, n, failure).run();
}

#else

TracedRun runTraced(const std::vector<std::string>&, unsigned, int) {
    TracedRun run;
    run.reason = "system calls are read on x86-64 only";
    return run;
}

#endif

}  // namespace

TracedRun runKilledAt(const std::vector<std::string>& command, unsigned n) {
    return runTraced(command, n, 0);
}

TracedRun runFailingAt(const std::vector<std::string>& command, unsigned n, int failure) {
    return runTraced(command, n, failure);
}

}  // namespace qx_test
