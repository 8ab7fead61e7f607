// QXLConfiguration: what the agent knows about its own node.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLEID.h"

namespace QXL {

/// Facts about the node. May be called from any thread.
class QXL_API QXLConfiguration {
public:
    /// The node's own EID, a UUID; constant while the agent library is loaded.
    static QXLEID getLocalEID();
};

}  // namespace QXL
