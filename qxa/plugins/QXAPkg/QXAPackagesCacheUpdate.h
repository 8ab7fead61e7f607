// The request that tells the agent's package monitor that the node's packages changed.
#pragma once

#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Asks the operator "qxapkgmonitor", with the agent's own token, to rebuild its package cache and
/// waits for it. A failure is logged and not reported to the caller.
/// @param transport  the request's access provider; null is logged as a failure.
/// @param eid        the environment whose agent is asked; EID_INVALID: the local agent.
void requestPackagesCacheUpdate(QXL::QXLAccess transport, const QXL::QXLEID& eid);

}  // namespace QXA
