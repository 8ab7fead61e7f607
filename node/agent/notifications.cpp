// Sends events: a datagram to each socket in the listeners' folder.
#include "QXA/QXANotifications.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "QXL/QXLConfiguration.h"
#include "base/fd.h"
#include "layout/paths.h"
#include "layout/time_text.h"
#include "node/agent/error_store.h"
#include "node/agent/event_text.h"

namespace QXA {

namespace {

namespace fs = std::filesystem;

constexpr int kNotSent = -1;

bool isThisNode(const QXL::QXLEID& eid) {
    return !eid.isValid() || eid == QXL::QXLEID::EID_LOCAL ||
           eid == QXL::QXLConfiguration::getLocalEID();
}

/// @return false if the socket has no listener any more.
bool sendTo(int fd, const fs::path& listener, const std::string& text) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = listener.string();
    if (path.size() >= sizeof(address.sun_path)) {
        return true;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    // A listener that is too slow loses events; it must not delay requests.
    const ssize_t sent = sendto(fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    return sent >= 0 || errno != ECONNREFUSED;
}

int failed(const std::string& reason) {
    QXL::setLastErrorData(kNotSent, reason);
    return kNotSent;
}

}  // namespace

QXANotifications::QXANotifications(const QXL::QXLEID& eid, QXL::QXLAccess access)
    : m_eid(eid), m_access(std::move(access)) {}

QXANotifications::~QXANotifications() = default;

int QXANotifications::sendCommandConfUpdate(int veid) {
    if (!isThisNode(m_eid)) {
        return failed("no agent with the EID " + m_eid.toString() + " can be reached");
    }
    const base::Fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd) {
        return failed(std::string("cannot make a socket: ") + std::strerror(errno));
    }
    const std::string text = eventText({"confupdate", veid, qxnode::localTime()});
    std::error_code failure;
    fs::directory_iterator entry(qxnode::kListenerDir, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        std::error_code ignored;
        if (fs::is_socket(entry->symlink_status(ignored)) && !sendTo(fd.get(), *entry, text)) {
            fs::remove(entry->path(), ignored);
        }
    }
    if (failure && failure != std::errc::no_such_file_or_directory) {
        return failed(std::string("cannot read ") + qxnode::kListenerDir + ": " +
                      failure.message());
    }
    return 0;
}

}  // namespace QXA
