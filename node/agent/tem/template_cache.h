// Caches of OS templates: archives of a new container's area.
#pragma once

#include <string>
#include <vector>

#include "QXA/QXATemplate.h"
#include "node/agent/tem/template_area.h"

namespace QXA::tem {

/// Of an OS template's cache, beside its manifest.
inline constexpr const char* kCacheName = "cache.tar.gz";

/// Builds the caches of OS templates; an empty list means every OS template of the node, an empty
/// version the newest.
/// @throws Failure kTemUnknownTemplate, kTemUnknownVersion; kNoCode, also for an application
///         template.
void renewCaches(const std::vector<QXATemplate>& keys);

/// Fills a private area's directory, in which the template is to be the first, with what its cache
/// would hold. @throws Failure.
void fillFromTemplate(const TemplateArea& templates, const QXATemplate& key, int directory);

/// Unpacks the cache of an OS template into a private area's directory: its root and the record of
/// what the template put there.
/// @return false when the template has no cache; `directory` is then as before.
/// @throws Failure.
bool unpackCache(const TemplateArea& templates, const QXATemplate& key, int directory);

}  // namespace QXA::tem
