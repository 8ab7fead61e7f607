// Tells users who holds the lock that a request waits for: in the agent's log, and by calling the
// process's listener. Standard error belongs to the program that loads the library.
#include "node/agent/lock_wait.h"

#include <mutex>
#include <utility>

#include "QXL/QXLLockPolicy.h"
#include "QXL/QXLLog.h"

namespace QXL {

namespace {

struct Listener {
    std::mutex mutex;
    LockWaitListener call;
};

Listener& listener() {
    // Never destroyed, because requests may still be working while the process ends.
    static auto* const one = new Listener;
    return *one;
}

}  // namespace

void setLockWaitListener(LockWaitListener call) {
    const std::lock_guard guard(listener().mutex);
    listener().call = std::move(call);
}

void tellLockWait(const std::string& line) {
    Log.put(kLogWarning, "%s", line.c_str());
    LockWaitListener call;
    {
        const std::lock_guard guard(listener().mutex);
        call = listener().call;
    }
    if (call) {
        call(line);
    }
}

}  // namespace QXL
