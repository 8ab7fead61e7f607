// Log: the agent's global log.
#pragma once

#include "QXL/Export.h"

namespace QXL {

/// Levels of log lines; a lower number is more serious. The agent's configuration sets the highest
/// level that is written.
enum LogLevel : int {
    kLogError = 1,    ///< an action in the background failed
    kLogWarning = 2,  ///< a caller passed something unusable
    kLogInfo = 3,     ///< what was done
    kLogDebug = 4,    ///< details of how it was done
};

/// Writes lines to the agent's log, from any thread. It never fails and never throws: a request
/// must not fail because its log line cannot be written.
class QXL_API Logger {
public:
    /// @param level   a LogLevel; a number below kLogError counts as kLogError.
    /// @param format  printf-style; the text becomes one line, with control characters escaped.
    void put(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
};

/// The agent's log.
extern QXL_API Logger Log;

}  // namespace QXL
