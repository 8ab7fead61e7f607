// Builds the records of the C interface.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "node/kr/manifest.h"
#include "node/kr/package.h"
#include "qxtt/qxtt.h"

namespace qxtt {

using qxnode::Package;

/// Fills the caller's record with the fields that the mask selects. The record then owns one block.
void fillTemplate(tmpl_info& info, const qxnode::KrManifest& manifest, std::uint32_t mask);

/// Releases what fillTemplate allocated, and sets the record to zero.
void releaseTemplate(tmpl_info& info);

/// One-block results; arrays end with a null pointer.
void* templateEntries(const std::vector<qxnode::KrManifest>& templates, std::uint32_t mask);
void* packageEntries(const std::vector<Package>& packages, std::uint32_t mask);
void* packageRecords(const std::vector<Package>& packages, std::uint32_t mask);
void* textArray(const std::vector<std::string>& texts);
char* textAlone(const std::string& text);

}  // namespace qxtt
