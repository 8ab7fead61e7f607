// flock(2) with a limited wait and the holder's name in the file; see lock.h.
#include "layout/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "QXL/QXLLockPolicy.h"
#include "base/content.h"
#include "base/fd.h"
#include "base/system_error.h"
#include "layout/time_text.h"

namespace qxnode {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxHolderBytes = 4096;
constexpr std::size_t kMaxCommand = 200;

/// The command line of this process as one printable line.
std::string ownCommand() {
    std::string ignored;
    std::string command = base::readFile("/proc/self/cmdline", 1U << 21, ignored).value_or("");
    while (!command.empty() && command.back() == '\0') {
        command.pop_back();
    }
    std::replace_if(
        command.begin(), command.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
    if (command.size() > kMaxCommand) {
        command.resize(kMaxCommand);
        command += "...";
    }
    return command;
}

base::Fd openLockFile(const std::string& path, std::string& error) {
    base::Fd fd(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    struct stat st {};
    if (!fd || fstat(fd.get(), &st) != 0) {
        error = base::systemError("open the lock", path);
        return {};
    }
    if (!S_ISREG(st.st_mode)) {
        error = "cannot open the lock '" + path + "': not a regular file";
        return {};
    }
    return fd;
}

/// True if the locked file still has that name: removing a container removes its lock file, too.
bool isStill(int fd, const std::string& path) {
    struct stat locked {};
    struct stat named {};
    return fstat(fd, &locked) == 0 && lstat(path.c_str(), &named) == 0 &&
           locked.st_ino == named.st_ino && locked.st_dev == named.st_dev;
}

void nameHolder(int fd) {
    const std::string text =
        "pid " + std::to_string(getpid()) + " (" + ownCommand() + ") since " + localTime() + "\n";
    // The name is only information for those who wait, so a full disk must not fail the lock.
    if (ftruncate(fd, 0) == 0 && pwrite(fd, text.data(), text.size(), 0) < 0) {
        return;
    }
}

/// True if the file names this process as the holder.
bool isNamedIn(int fd) {
    const std::string begin = "pid " + std::to_string(getpid()) + " ";
    std::string text(begin.size(), '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    return got == static_cast<ssize_t>(begin.size()) && text == begin;
}

/// @return true if locked; false if the time is over (EWOULDBLOCK) or on failure (errno).
bool lockUntil(int fd, int operation, std::optional<Clock::time_point> deadline) {
    if (!deadline) {
        while (flock(fd, operation) != 0) {
            if (errno != EINTR) {
                return false;
            }
        }
        return true;
    }
    // flock(2) has no time limit, and a library must not use the process's timer signals.
    auto pause = std::chrono::milliseconds(5);
    constexpr auto longestPause = std::chrono::milliseconds(100);
    while (flock(fd, operation | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        const auto now = Clock::now();
        if (now >= *deadline) {
            errno = EWOULDBLOCK;
            return false;
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(pause, *deadline - now));
        pause = std::min(pause * 2, longestPause);
    }
    return true;
}

}  // namespace

LockWait LockWait::fromEnvironment() {
    const char* text = std::getenv(QXL::kLockWaitVariable);
    if (text == nullptr || *text == '\0') {
        return forever();
    }
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    constexpr double longest = 1e9;
    if (*end != '\0' || !std::isfinite(seconds) || seconds < 0 || seconds > longest) {
        return forever();
    }
    return atMost(std::chrono::milliseconds(std::llround(seconds * 1000)));
}

FileLock::Result FileLock::acquire(const std::string& path, const LockWait& wait,
                                   std::string& error, const OnWait& onWait, Mode mode) {
    std::optional<Clock::time_point> deadline;
    if (wait.limit()) {
        deadline = Clock::now() + *wait.limit();
    }
    const bool waits = !wait.limit() || wait.limit()->count() > 0;
    const int operation = mode == Mode::shared ? LOCK_SH : LOCK_EX;
    bool told = false;
    for (;;) {
        base::Fd fd = openLockFile(path, error);
        if (!fd) {
            return Result::failed;
        }
        if (flock(fd.get(), operation | LOCK_NB) != 0) {
            if (waits && !told && onWait) {
                onWait("waiting for '" + path + "', held by " + lockHolder(path));
                told = true;
            }
            if (!lockUntil(fd.get(), operation, deadline)) {
                if (errno == EWOULDBLOCK) {
                    error = "'" + path + "' is held by " + lockHolder(path);
                    return Result::timeout;
                }
                error = base::systemError("lock", path);
                return Result::failed;
            }
        }
        if (isStill(fd.get(), path)) {
            nameHolder(fd.get());
            m_fd = std::move(fd);
            return Result::acquired;
        }
    }
}

void FileLock::release() {
    // Another process that shares the lock may have written its name meanwhile.
    if (m_fd && isNamedIn(m_fd.get()) && ftruncate(m_fd.get(), 0) != 0) {
        // Old text in a free lock file does no harm: it is read only while somebody waits.
    }
    m_fd.close();
}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    if (this != &other) {
        release();
        m_fd = std::move(other.m_fd);
    }
    return *this;
}

std::string lockHolder(const std::string& path) {
    std::string ignored;
    std::string text = base::readFile(path, kMaxHolderBytes, ignored).value_or("");
    text.resize(std::min(text.find('\n'), text.size()));
    const bool told = text.starts_with("pid ") &&
                      std::all_of(text.begin(), text.end(),
                                  [](unsigned char c) { return c >= 0x20 && c != 0x7f; });
    return told ? text : "another process";
}

}  // namespace qxnode
