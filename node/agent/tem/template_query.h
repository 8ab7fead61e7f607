// Listings of templates, as the template manager gives them.
#pragma once

#include <vector>

#include "QXA/QXATEMLocal.h"
#include "QXA/QXATemplate.h"
#include "QXL/QXLEID.h"
#include "node/agent/tem/container.h"
#include "node/agent/tem/template_area.h"

namespace QXA::tem {

/// Templates of the node. One whose manifest cannot be read is listed under every type, so that
/// whoever asks for its configuration learns what is wrong with it.
std::vector<QXAPackageInfo> listNode(const TemplateArea& area, QXATEMLocal::pkgType type);

/// Standard templates of a container, as its configuration names them.
std::vector<QXAPackageInfo> listContainer(const TemplateArea& area, const Container& container,
                                          QXATEMLocal::pkgType type);

/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion.
QXAPackageInfo describe(const TemplateArea& area, const QXATemplate& key);

}  // namespace QXA::tem
