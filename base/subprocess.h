// Running a program: no shell, no standard input, output by lines, the reason of a failure kept.
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

    /// The exit code as a shell counts it: 128 + N for signal N, 127 when it could not be started.
    [[nodiscard]] int exitStatus() const;

    [[nodiscard]] bool succeeded() const { return kind == Kind::exited && code == 0; }

    /// Why it did not succeed: the last non-empty line of its standard error, else what became of
    /// it ("exited with code 3", "killed by signal 9 (Killed)", "cannot start 'x': ...").
    [[nodiscard]] std::string reason() const;

    std::string program;  ///< word 0, for reason()
};

struct ProcessOptions {
    /// Each line of standard output without its end, a last one without an end included. Lines
    /// longer than kMaxLine come in pieces of that length.
    std::function<void(const std::string& line)> onLine;

    /// The same for standard error.
    std::function<void(const std::string& line)> onErrorLine;

    /// "NAME=value" entries that replace or extend the environment.
    std::vector<std::string> environment;

    static constexpr std::size_t kMaxLine = 1U << 20;
    static constexpr std::size_t kMaxErrorTail = 64U << 10;
};

/// Runs a program and waits for its end.
/// @param argv  word 0 is the program, found on PATH unless it holds a "/".
/// What the program left running in the background is not waited for, even when it still holds the
/// output open. Exceptions of the callbacks pass through after the program has ended.
ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

}  // namespace base
