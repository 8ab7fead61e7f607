// The sandbox in which engines read databases: only the host's programs and one root, all
// read-only, with limits on time and memory.
#pragma once

#include <string>
#include <vector>

#include "base/subprocess.h"

namespace qxnode {

/// A writable folder in memory, empty at first; it ends with the program.
inline constexpr const char* kSandboxScratch = "/scratch";

/// The path in the sandbox of a path in the root ("/var/lib/x").
std::string inSandbox(const std::string& place);

/// The command line that runs `command` in the sandbox.
std::vector<std::string> sandboxed(const std::string& root,
                                   const std::vector<std::string>& command);

/// True if such a command could not be started; true if it was ended because it took too long.
bool couldNotStart(const base::ProcessResult& result);
bool tookTooLong(const base::ProcessResult& result);

}  // namespace qxnode
