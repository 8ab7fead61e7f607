// QXLAccessChecker: whether the client behind the current request may do something.
#pragma once

#include "QXL/Export.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLToken.h"

namespace QXL {

/// The agent's right numbers that package requests need.
enum PkgRight : int {
    kRightListContainerPackages = 56,    ///< list and describe packages of a container
    kRightManageContainerPackages = 57,  ///< install, remove and update packages in a container
    kRightListNodePackages = 130,        ///< list and describe packages of the node
    kRightManageNodePackages = 131,      ///< install, remove, update, fetch, clean on the node
};

/// A value. Each check reads the rules again. From any thread.
class QXL_API QXLAccessChecker {
public:
    /// The checker for the client whose request the current thread serves, also while the agent's
    /// own token is current.
    static QXLAccessChecker getClientContext();

    /// Checks `right` (a PkgRight) on the node. @return 0 granted, anything else refused.
    [[nodiscard]] int accessCheck(int right) const;

    /// Checks `right` on the environment `eid`; EID_LOCAL and the node's own EID mean the node.
    /// @return 0 granted, anything else refused.
    [[nodiscard]] int accessCheck(const QXLEID& eid, int right) const;

private:
    explicit QXLAccessChecker(QXLToken client) : m_client(client) {}

    QXLToken m_client;
};

}  // namespace QXL
