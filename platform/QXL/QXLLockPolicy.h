// How long writers wait for a lock of the node or of a container.
#pragma once

namespace QXL {

/// Environment variable, in seconds, that the agent library and the node's tools read: how long to
/// wait for a lock. Unset waits without end; "0" does not wait.
inline constexpr const char* kLockWaitVariable = "QX_LOCK_WAIT";

/// Code in getLastErrorData() (and exit code of the node's tools) when a lock was not had in time.
inline constexpr int kErrorLockTimeout = 75;

}  // namespace QXL
