// QXANotifications: tells listeners of the agent that a container changed.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Sends events to every QXAEventListener of an agent.
class QXL_API QXANotifications {
public:
    /// @param eid     whose listeners; EID_INVALID, EID_LOCAL and the node's own EID mean those of
    ///                the local agent, the only one that this library reaches.
    /// @param access  the request's provider, may be null.
    QXANotifications(const QXL::QXLEID& eid, QXL::QXLAccess access);
    ~QXANotifications();

    /// Says that the configuration of the container with this number changed. That nobody listens
    /// is no error. @return 0, or non-zero when it could not be said, with the reason in
    /// QXL::getLastErrorData().
    int sendCommandConfUpdate(int veid);

private:
    QXL::QXLEID m_eid;
    QXL::QXLAccess m_access;
};

}  // namespace QXA
