// Receives events: each listener has a datagram socket in the listeners' folder.
#include "QXA/QXAEventListener.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "QXL/QXLError.h"
#include "base/fd.h"
#include "base/system_error.h"
#include "layout/paths.h"
#include "node/agent/event_text.h"

namespace QXA {

namespace {

using Clock = std::chrono::steady_clock;

int failed(const std::string& reason) {
    QXL::setErrorMessage("%s", reason.c_str());
    return -1;
}

std::string ownSocketPath() {
    static std::atomic<unsigned> count{0};
    return std::string(qxnode::kListenerDir) + "/" + std::to_string(getpid()) + "-" +
           std::to_string(count++) + ".sock";
}

/// Milliseconds left of a wait; -1 if it has no limit.
int remaining(int timeoutMs, Clock::time_point begin) {
    if (timeoutMs < 0) {
        return -1;
    }
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
    return passed >= timeoutMs ? 0 : static_cast<int>(timeoutMs - passed);
}

}  // namespace

struct QXAEventListener::Impl {
    base::Fd fd;
    std::string path;

    void listen() {
        if (mkdir(qxnode::kListenerDir, 0755) != 0 && errno != EEXIST) {
            failed(base::systemError("make", qxnode::kListenerDir));
            return;
        }
        const std::string name = ownSocketPath();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
        base::Fd made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        // If a socket of this name exists, a dead process with our process number left it.
        unlink(name.c_str());
        if (!made ||
            bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            failed(base::systemError("listen at", name));
            return;
        }
        fd = std::move(made);
        path = name;
    }

    /// @return 1 with an event, 0 for something else, -1 on failure.
    int receive(QXAEvent& event) const {
        // One byte more than the longest event, so that longer datagrams are noticed.
        std::array<char, kMaxEventBytes + 1> block{};
        const ssize_t got = recv(fd.get(), block.data(), block.size(), MSG_DONTWAIT);
        if (got < 0) {
            return errno == EAGAIN || errno == EINTR
                       ? 0
                       : failed(base::systemError("receive from", path));
        }
        if (static_cast<std::size_t>(got) > kMaxEventBytes) {
            return 0;
        }
        auto parsed = parseEvent({block.data(), static_cast<std::size_t>(got)});
        if (!parsed) {
            return 0;
        }
        event = std::move(*parsed);
        return 1;
    }
};

QXAEventListener::QXAEventListener() : m_impl(std::make_unique<Impl>()) {
    m_impl->listen();
}

QXAEventListener::~QXAEventListener() {
    if (ready()) {
        unlink(m_impl->path.c_str());
    }
}

bool QXAEventListener::ready() const {
    return static_cast<bool>(m_impl->fd);
}

int QXAEventListener::next(QXAEvent& event, int timeoutMs) {
    if (!ready()) {
        return failed("not listening");
    }
    const auto begin = Clock::now();
    for (;;) {
        pollfd wait{m_impl->fd.get(), POLLIN, 0};
        const int ready = poll(&wait, 1, remaining(timeoutMs, begin));
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            return 0;
        }
        if (ready < 0) {
            return failed(base::systemError("wait at", m_impl->path));
        }
        const int result = m_impl->receive(event);
        if (result != 0) {
            return result;
        }
    }
}

}  // namespace QXA
