// Listing of KR templates and packages, of the node and of containers.
#pragma once

#include <string>

#include "QXL/QXLEID.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"

namespace QXA {

/// The number of a container in decimal digits, "" for the node.
/// @return 0, or why there is none: -1, or the result of resolving the EID.
int getVeidString(const QXL::QXLEID& eid, std::string& veid);

/// @param veid       the container's number.
/// @param requested  KR packages; empty for all.
/// @param out        may be null. What was listed before a failure stays in it.
/// @return 0, or -1 with a message.
int listKRInContainer(int veid, const QXL::QXLPackageList& requested,
                      const QXAPackageListOptions& options, QXL::QXLPackageList* out);

/// Parameters and results as above.
int listKROnNode(const QXL::QXLPackageList& requested, const QXAPackageListOptions& options,
                 QXL::QXLPackageList* out);

}  // namespace QXA
