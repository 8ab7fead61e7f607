// Tells users for whom a request waits.
#pragma once

#include <string>

namespace QXL {

/// Writes the line to the agent's log and hands it to the process' listener.
void tellLockWait(const std::string& line);

}  // namespace QXL
