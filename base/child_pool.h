// Work in child processes: several at once, each with a text that it hands back.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace base {

struct ChildResult {
    int failure = 0;   ///< errno when the process could not be started
    int status = 0;    ///< as waitpid(2) gives it
    std::string text;  ///< what it wrote to its descriptor

    /// Its exit code; -1 when it did not start or was ended by a signal.
    [[nodiscard]] int exitCode() const;

    /// What became of it: "cannot start a process: ...", "ended by signal 9 (Killed)" or
    /// "exited with code 3".
    [[nodiscard]] std::string reason() const;
};

/// The work of one child, in that child.
/// @param output  takes its text.
/// @return its exit code. An exception ends the child by a signal.
using ChildWork = std::function<int(std::size_t place, int output)>;
using ChildSink = std::function<void(std::size_t place, const ChildResult& result)>;

/// Does the work of places 0 to `count - 1`, at most `jobs` at a time, and calls `sink` with the
/// results in that order, each as soon as those before it are there.
/// @param cancelled  asked now and then, when given: once it says true, children are sent SIGTERM,
///                   and of those that have not started `sink` hears nothing.
void runChildren(std::size_t count, unsigned jobs, const ChildWork& work, const ChildSink& sink,
                 const std::function<bool()>& cancelled = {});

}  // namespace base
