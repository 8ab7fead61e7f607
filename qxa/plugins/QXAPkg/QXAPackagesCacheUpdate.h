// The request that tells the agent's package monitor that the node's packages changed.
#pragma once

#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXA {

/// Asks the operator "qxapkgmonitor" to rebuild its package cache, under the agent's own identity,
/// and waits for it. A failure is logged; nothing is reported to the caller.
/// @param transport  the request's access provider.
/// @param eid        whose agent; EID_INVALID is the local one.
void requestPackagesCacheUpdate(QXL::QXLAccess transport, const QXL::QXLEID& eid);

}  // namespace QXA
