// The checker library, used from within the agent.
//
// It keeps its state per process and works on the working directory. The agent is a library in
// somebody else's process: so only one request at a time may use it, and a working directory is
// changed on a thread that has one of its own.
#pragma once

#include <functional>
#include <mutex>

namespace QXA::tem {

/// Held while the checker library is used. Its messages go nowhere.
class CheckerLock {
public:
    CheckerLock();

private:
    std::unique_lock<std::mutex> m_lock;
};

/// Runs `work`, which may change the working directory, on a thread with a working directory of its
/// own; waits for it and hands on what it throws.
/// @return false when the system gives no such thread; nothing was run then.
bool withOwnWorkingDirectory(const std::function<void()>& work);

}  // namespace QXA::tem
