// The agent's reporter: writes to the log and tells listeners about waits.
#pragma once

#include "QXL/QXLLog.h"
#include "node/agent/lock_wait.h"
#include "node/agent/tem/reporter.h"

namespace QXA::tem {

inline Reporter agentReporter() {
    return {&QXL::tellLockWait,
            [](const std::string& line) { QXL::Log.put(QXL::kLogWarning, "%s", line.c_str()); }};
}

}  // namespace QXA::tem
