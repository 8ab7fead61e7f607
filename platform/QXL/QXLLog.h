// Log: the agent's global log.
#pragma once

#include "QXL/Export.h"

namespace QXL {

/// Levels of log lines; lower is graver. The agent's configuration chooses how far it writes.
enum LogLevel : int {
    kLogError = 1,    ///< a background action failed
    kLogWarning = 2,  ///< a call was not usable as it came
    kLogInfo = 3,     ///< what was done
    kLogDebug = 4,    ///< how
};

/// Writes printf-style lines to the agent's log; from any thread. Never fails and never throws: a
/// log that cannot be written is no reason to fail a request.
class QXL_API Logger {
public:
    /// @param level   one of LogLevel; a graver one than kLogError counts as that.
    /// @param format  printf-style; the text becomes one line, its control characters escaped.
    void put(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
};

extern QXL_API Logger Log;

}  // namespace QXL
