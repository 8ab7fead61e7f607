// QXAEventListener: receives what QXANotifications sends.
#pragma once

#include <memory>
#include <string>

#include "QXL/Export.h"

namespace QXA {

/// One event, a value.
struct QXAEvent {
    std::string kind;  ///< "confupdate"
    int veid = 0;      ///< number of the container that it is about
    std::string time;  ///< local time, as 2026-11-20T20:00:00+0000
};

/// Listens from construction to destruction. Any number of listeners may exist; each gets every
/// event that is sent while it exists, unless it does not keep up: a full queue loses the newest.
class QXL_API QXAEventListener {
public:
    QXAEventListener();
    QXAEventListener(const QXAEventListener&) = delete;
    QXAEventListener& operator=(const QXAEventListener&) = delete;
    ~QXAEventListener();

    /// False when listening failed; the reason is in getErrorMessage().
    [[nodiscard]] bool ready() const;

    /// Waits for the next event. @param timeoutMs -1 waits without end.
    /// @return 1 with an event, 0 when the time is up or a signal arrived, -1 on failure with the
    ///         reason in getErrorMessage().
    int next(QXAEvent& event, int timeoutMs);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXA
