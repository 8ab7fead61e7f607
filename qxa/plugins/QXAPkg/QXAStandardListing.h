// Listing of standard templates: read them, select some, append them to a result.
#pragma once

#include <cstdint>
#include <vector>

#include "QXA/QXATemplate.h"
#include "QXL/QXLEID.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx.h"

namespace QXA {

using StandardRecords = std::vector<QXAStandardQXTemplateEx>;

/// Some records of a list; the list must outlive it.
using StandardSelection = std::vector<const QXAStandardQXTemplateEx*>;

/// Appends a record for every version of every template. @return 0 or -1.
int collectRecords(const std::vector<QXAPackageInfo>& infos, StandardRecords& out);

/// Appends the templates of an environment. @param kinds  PackageKind bits. @return 0 or -1.
int readTemplates(const QXL::QXLEID& eid, std::uint32_t kinds, StandardRecords& out);

/// All records, in order.
StandardSelection allOf(const StandardRecords& records);

/// The records whose name and version equal a requested package's, in the order of name and
/// version.
StandardSelection selectRequested(const QXL::QXLPackageList& requested,
                                  const StandardRecords& records);

/// The records of `all`, in order, that are compatible with a record of `selected`.
StandardSelection selectCompatible(const StandardSelection& selected, const StandardRecords& all);

/// Appends a copy of each record without its description and, if `dropSummary`, without its
/// summary.
void appendRecords(const StandardSelection& records, bool dropSummary, QXL::QXLPackageList* out);

/// Appends the templates, the packages of the templates, or both, as the options say.
void appendListing(const StandardSelection& records, const QXAPackageListOptions& options,
                   QXL::QXLPackageList* out);

}  // namespace QXA
