// QXANotifications: tells listeners of the agent that a container changed.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

class QXL_API QXANotifications {
public:
    /// @param eid     whose listeners; EID_INVALID means those of the local agent.
    /// @param access  the request's provider, may be null.
    QXANotifications(const QXL::QXLEID& eid, QXL::QXLAccess access);
    ~QXANotifications();

    /// Says that the configuration of the container with this number changed. That nobody listens
    /// is no error. @return 0, or non-zero when it could not be said.
    int sendCommandConfUpdate(int veid);

private:
    QXL::QXLEID m_eid;
    QXL::QXLAccess m_access;
};

}  // namespace QXA
