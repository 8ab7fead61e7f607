// Output of qxfsutil: lines for people, or one JSON object per line for programs.
#pragma once

#include <string>

#include "src/area/check_area.h"
#include "src/area/index_area.h"
#include "src/area/resolve.h"
#include "src/index/index_stat.h"

namespace qxfsutil {

// Every line below ends in a newline. In JSON, a byte that is not UTF-8 becomes "\xNN" and a
// backslash becomes two.
std::string findingAsText(const std::string& area, const qxfs::Finding& finding);
std::string findingAsJson(const std::string& area, const qxfs::Finding& finding);
std::string kindAsText(const qxfs::FindingKind& kind);
std::string kindAsJson(const qxfs::FindingKind& kind);
std::string summaryAsText(const qxfs::CheckSummary& summary);
std::string summaryAsJson(const qxfs::CheckSummary& summary);
std::string indexedAsText(const std::string& area, const qxfs::IndexOutcome& outcome);
std::string indexedAsJson(const std::string& area, const qxfs::IndexOutcome& outcome);
std::string statAsText(const std::string& name, const dirindex::IndexStat& stat);
std::string statAsJson(const std::string& name, const dirindex::IndexStat& stat);
std::string entriesAsJson(const std::string& name,
                          const std::vector<dirindex::IndexEntry>& entries);
std::string seenAsText(const qxfs::SeenEntry& entry);
std::string seenAsJson(const qxfs::SeenEntry& entry);
std::string templateAsJson(const std::string& file);
std::string undoneAsJson(const std::string& area, std::size_t changes);
std::string clonedAsJson(const std::string& area, std::uint64_t changed);
std::string noteAsJson(const std::string& what, const std::string& message);
std::string failureAsJson(const std::string& what, const std::string& message);

}  // namespace qxfsutil
