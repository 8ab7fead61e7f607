// How long writers wait for a lock of the node or of a container, and who hears of it.
#pragma once

#include <functional>
#include <string>

#include "QXL/Export.h"

namespace QXL {

/// Environment variable, in seconds, that the agent library and the node's tools read: how long to
/// wait for a lock; fractions count. "0" does not wait; unset, or no number, waits without end.
inline constexpr const char* kLockWaitVariable = "QX_LOCK_WAIT";

/// Code in getLastErrorData() (and exit code of the node's tools) when a lock was not had in time.
inline constexpr int kErrorLockTimeout = 75;

/// Hears that a request of this process is about to wait: a line such as "waiting for
/// '/qx/template/.lock', held by pid 12 (qxa install x) since 2026-11-20T20:00:00+0000". Called on
/// the request's thread; must not throw.
using LockWaitListener = std::function<void(const std::string& line)>;

/// Sets the process' listener; an empty one hears nothing. The line goes to the agent's log anyway.
QXL_API void setLockWaitListener(LockWaitListener listener);

}  // namespace QXL
