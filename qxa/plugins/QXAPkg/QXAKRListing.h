// Listing of KR templates and packages, of the node and of containers.
#pragma once

#include <string>

#include "QXL/QXLEID.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"

namespace QXA {

/// Sets `veid` to the container's number in decimal digits, or to "" for the node.
/// @return 0; -1 if the configuration has no number; else the EnvResult of resolving the EID.
int getVeidString(const QXL::QXLEID& eid, std::string& veid);

/// Lists packages and templates of a container.
/// @param veid       the container's number.
/// @param requested  KR packages; empty for all.
/// @param out        may be null. After a failure it keeps what was listed before.
/// @return 0, or -1 with a message.
int listKRInContainer(int veid, const QXL::QXLPackageList& requested,
                      const QXAPackageListOptions& options, QXL::QXLPackageList* out);

/// Lists KR packages and templates of the node. Parameters and results as above.
int listKROnNode(const QXL::QXLPackageList& requested, const QXAPackageListOptions& options,
                 QXL::QXLPackageList* out);

}  // namespace QXA
