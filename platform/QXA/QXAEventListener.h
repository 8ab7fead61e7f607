// QXAEventListener: receives the events that QXANotifications sends.
#pragma once

#include <memory>
#include <string>

#include "QXL/Export.h"

namespace QXA {

/// One event, a value.
struct QXAEvent {
    std::string kind;  ///< "confupdate"
    int veid = 0;      ///< number of the container that changed
    std::string time;  ///< local time, such as 2026-11-20T20:00:00+0000
};

/// Listens from construction to destruction. Any number of listeners may exist; each gets every
/// event sent while it exists. If a listener is too slow and its queue is full, it loses new
/// events.
class QXL_API QXAEventListener {
public:
    QXAEventListener();
    QXAEventListener(const QXAEventListener&) = delete;
    QXAEventListener& operator=(const QXAEventListener&) = delete;
    ~QXAEventListener();

    /// False if it cannot listen; the reason is in getErrorMessage().
    [[nodiscard]] bool ready() const;

    /// Waits for the next event.
    /// @param event      receives it.
    /// @param timeoutMs  milliseconds to wait; -1: no limit.
    /// @return 1 if there is an event; 0 if the time is over or a signal arrived; -1 on failure,
    ///         with the reason in getErrorMessage().
    int next(QXAEvent& event, int timeoutMs);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXA
