// Listing of standard templates: read, select, append.
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

/// Some of the records of a list, which must outlive it.
using StandardSelection = std::vector<const QXAStandardQXTemplateEx*>;

/// Reads the configuration of every version of every template. @return 0, or -1.
int collectRecords(const std::vector<QXAPackageInfo>& infos, StandardRecords& out);

/// Reads the templates of an environment. @param kinds  PackageKind bits. @return 0, or -1.
int readTemplates(const QXL::QXLEID& eid, std::uint32_t kinds, StandardRecords& out);

StandardSelection allOf(const StandardRecords& records);

/// The records whose name and version equal a requested package's, in the order of name and
/// version.
StandardSelection selectRequested(const QXL::QXLPackageList& requested,
                                  const StandardRecords& records);

/// The records of `all`, in order, with which some record of `selected` is compatible.
StandardSelection selectCompatible(const StandardSelection& selected, const StandardRecords& all);

/// Appends a copy of each record without its description, and without its summary when wanted.
void appendRecords(const StandardSelection& records, bool dropSummary, QXL::QXLPackageList* out);

/// Appends templates, packages of templates, or both, as the options ask.
void appendListing(const StandardSelection& records, const QXAPackageListOptions& options,
                   QXL::QXLPackageList* out);

}  // namespace QXA
