// Work in processes of its own: several areas at once, since the library's state is one per
// process, and calls of the library that may end the process.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace qxfsutil {

/// Runs `work(0)` to `work(count - 1)`, at most `jobs` at a time, and passes on what they print in
/// that order. A single one runs in this process.
/// @return the greatest exit code; one that dies counts as kExitOperational.
int runProcesses(std::size_t count, unsigned jobs, const std::function<int(std::size_t)>& work);

/// Runs `work` in a process of its own, for what the library answers by ending the process.
/// @return true with its text; false with what the process said on standard error.
bool textFromChild(const std::function<std::string()>& work, std::string& text);

}  // namespace qxfsutil
