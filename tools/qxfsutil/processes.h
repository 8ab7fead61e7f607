// Several areas at once: a process for each, since the library's state is one per process.
#pragma once

#include <cstddef>
#include <functional>

namespace qxfsutil {

/// Runs `work(0)` to `work(count - 1)`, at most `jobs` at a time, and passes on what they print in
/// that order. A single one runs in this process.
/// @return the greatest exit code; one that dies counts as kExitOperational.
int runProcesses(std::size_t count, unsigned jobs, const std::function<int(std::size_t)>& work);

}  // namespace qxfsutil
