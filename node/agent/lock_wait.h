// Tells users which process holds the lock that a request waits for.
#pragma once

#include <string>

namespace QXL {

/// Writes the line to the agent's log and calls the process's listener with it.
void tellLockWait(const std::string& line);

}  // namespace QXL
