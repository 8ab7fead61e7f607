// The checker library, used from within the agent.
#include "node/agent/tem/checker_session.h"

#include <sched.h>

#include <exception>
#include <system_error>
#include <thread>

#include "src/qxfsutil.h"

namespace QXA::tem {

namespace {

std::mutex& checkerMutex() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

CheckerLock::CheckerLock() : m_lock(checkerMutex()) {
    set_log(0, nullptr, nullptr);
}

bool withOwnWorkingDirectory(const std::function<void()>& work) {
    bool isOwn = false;
    std::exception_ptr thrown;
    const auto run = [&] {
        isOwn = unshare(CLONE_FS) == 0;
        try {
            if (isOwn) {
                work();
            }
        } catch (...) {
            thrown = std::current_exception();
        }
    };
    try {
        std::thread(run).join();
    } catch (const std::system_error&) {
        return false;
    }
    if (thrown) {
        std::rethrow_exception(thrown);
    }
    return isOwn;
}

}  // namespace QXA::tem
