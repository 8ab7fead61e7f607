// Runs a program: no shell, no standard input, output line by line, the reason of a failure kept.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace base {

struct ProcessResult {
    enum class Kind {
        exited,     ///< by itself; `code` is its exit code
        signalled,  ///< `code` is the signal's number
        notStarted  ///< `code` is an errno
    };

    Kind kind = Kind::notStarted;
    int code = 0;
    std::string errorTail;  ///< end of its standard error

    /// The exit code as in a shell: 128 + N for signal N, 127 if it could not be started.
    [[nodiscard]] int exitStatus() const;

    [[nodiscard]] bool succeeded() const { return kind == Kind::exited && code == 0; }

    /// Why it failed: the last non-empty line of its standard error, else how it ended ("exited
    /// with code 3", "killed by signal 9 (Killed)", "cannot start 'x': ...").
    [[nodiscard]] std::string reason() const;

    std::string program;  ///< word 0, for reason()
};

struct ProcessOptions {
    /// Called with each line of standard output, without its line end. Lines longer than kMaxLine
    /// come in pieces of that length.
    std::function<void(const std::string& line)> onLine;

    /// The same for standard error.
    std::function<void(const std::string& line)> onErrorLine;

    /// "NAME=value" entries that replace or extend the environment.
    std::vector<std::string> environment;

    static constexpr std::size_t kMaxLine = 1U << 20;
    static constexpr std::size_t kMaxErrorTail = 64U << 10;
};

/// Runs a program and waits for its end.
/// @param argv  word 0 is the program, searched on PATH unless it contains a "/". Does not wait for
/// processes that the program left in the background, even if they keep its output open. Exceptions
/// of the callbacks reach the caller after the program has ended.
ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

}  // namespace base
