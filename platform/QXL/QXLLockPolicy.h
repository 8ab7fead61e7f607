// How long writers wait for a lock of the node or of a container, and who is told about it.
#pragma once

#include <functional>
#include <string>

#include "QXL/Export.h"

namespace QXL {

/// Environment variable, read by the agent library and the node's tools: the seconds to wait for a
/// lock, fractions allowed. "0" does not wait. Unset, or not a number: wait without limit.
inline constexpr const char* kLockWaitVariable = "QX_LOCK_WAIT";

/// Code in getLastErrorData(), and exit code of the node's tools, if the wait for a lock timed out.
inline constexpr int kErrorLockTimeout = 75;

/// Called before a request of this process waits for a lock, with a line such as "waiting for
/// '/qx/template/.lock', held by pid 12 (qxa install x) since 2026-11-20T20:00:00+0000". It is
/// called on the request's thread and must not throw.
using LockWaitListener = std::function<void(const std::string& line)>;

/// Sets the process's listener; an empty one removes it. The line always goes to the agent's log.
QXL_API void setLockWaitListener(LockWaitListener listener);

}  // namespace QXL
