// Caches of OS templates: archives of a new container's area.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "node/agent/tem/template_area.h"

namespace QXA::tem {

/// File name of an OS template's cache, beside its manifest.
inline constexpr const char* kCacheName = "cache.tar.gz";

/// Rebuilds the caches of OS templates; an empty list means every OS template of the node, an empty
/// version the newest.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; kNoCode, also for an application
///         template.
void renewCaches(const std::vector<QXATemplate>& keys);

/// Fills the directory of a new private area with what the template's cache would have.
/// @throws Failure.
void fillFromTemplate(const TemplateArea& templates, const QXATemplate& key, int directory);

/// Unpacks the cache of an OS template into a private area's directory: the root and the template's
/// record.
/// @return false if the template has no cache; `directory` is then unchanged.
/// @throws Failure.
bool unpackCache(const TemplateArea& templates, const QXATemplate& key, int directory);

}  // namespace QXA::tem
