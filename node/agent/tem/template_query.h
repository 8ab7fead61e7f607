// Lists templates for the template manager.
#pragma once

#include <vector>

#include "QXA/QXATEMLocal.h"
#include "QXA/QXATemplate.h"
#include "QXL/QXLEID.h"
#include "node/agent/tem/container.h"
#include "node/agent/tem/template_area.h"

namespace QXA::tem {

/// The templates of the node. A template whose manifest cannot be read is listed under every type,
/// so that a query for its configuration reports the error.
std::vector<QXAPackageInfo> listNode(const TemplateArea& area, QXATEMLocal::pkgType type);

/// The standard templates in a container's configuration.
std::vector<QXAPackageInfo> listContainer(const TemplateArea& area, const Container& container,
                                          QXATEMLocal::pkgType type);

/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion.
QXAPackageInfo describe(const TemplateArea& area, const QXATemplate& key);

}  // namespace QXA::tem
