// QXANotifications: tells listeners of the agent that a container changed.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Sends events to every QXAEventListener of an agent.
class QXL_API QXANotifications {
public:
    /// @param eid     the agent whose listeners are told. EID_INVALID, EID_LOCAL and the node's own
    ///                EID mean the local agent; this library reaches no other.
    /// @param access  the request's provider; may be null.
    QXANotifications(const QXL::QXLEID& eid, QXL::QXLAccess access);
    ~QXANotifications();

    /// Tells that the configuration of container `veid` changed. It is no error if nobody listens.
    /// @return 0; otherwise the event was not sent, and QXL::getLastErrorData() has the reason.
    int sendCommandConfUpdate(int veid);

private:
    QXL::QXLEID m_eid;
    QXL::QXLAccess m_access;
};

}  // namespace QXA
