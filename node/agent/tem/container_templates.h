// Templates of one container: listing, adding, removing. All functions throw Failure; those that
// change something take the container's lock and are all-or-nothing.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEID.h"
#include "node/agent/tem/area_record.h"
#include "node/agent/tem/container.h"
#include "node/agent/tem/reporter.h"
#include "node/agent/tem/template_area.h"

namespace QXA::tem {

/// Adds templates; an empty version means the newest, an empty list brings all of the container's
/// templates up to date. A template that is there in an older version is replaced.
/// @param reporter  hears of files of the container that were in the way and were left.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; without force kTemConflict: the version
///         (or a newer one) is there, another OS template is there, an application's OS template is
///         not, templates are in conflict.
void addToContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                    const Reporter& reporter);

/// Removes templates, an empty version meaning whichever is there.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion for what the container does not have;
///         kTemConflict for an OS template that an application still needs, without force.
void removeFromContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                         const Reporter& reporter);

}  // namespace QXA::tem
