// The place that engines read databases in: nothing but the host's programs and one root, all of it
// read-only, and bounds on time and memory.
#pragma once

#include <string>
#include <vector>

#include "base/subprocess.h"

namespace qxnode {

/// An empty folder in memory, writable, gone with the program.
inline constexpr const char* kSandboxScratch = "/scratch";

/// Where a place of the root ("/var/lib/x") lies in the sandbox.
std::string inSandbox(const std::string& place);

/// The command line that runs `command` there.
std::vector<std::string> sandboxed(const std::string& root,
                                   const std::vector<std::string>& command);

/// Of what became of such a command: whether it never ran, and whether it ran out of time.
bool couldNotStart(const base::ProcessResult& result);
bool tookTooLong(const base::ProcessResult& result);

}  // namespace qxnode
