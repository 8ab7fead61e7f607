// Lists, adds and removes templates of one container. All functions throw Failure. Those that
// change something take the container's lock and do everything or nothing.
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

/// Adds templates; an empty version means the newest, an empty list updates all templates of the
/// container. An older version of a template is replaced.
/// @param reporter  told about files of the container that were in the way and were left.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; without force kTemConflict: the
///         container has this version (or a newer one), or another OS template, or lacks the OS
///         template of an application, or templates are in conflict.
void addToContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                    const Reporter& reporter);

/// Removes templates; an empty version means the one that the container has.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion if the container does not have one;
///         without force kTemConflict for an OS template that an application still needs.
void removeFromContainer(const QXL::QXLEID& eid, const std::vector<QXATemplate>& keys, bool force,
                         const Reporter& reporter);

}  // namespace QXA::tem
