// KR packages as records: recognition, names, and what the template tools library says of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxtt/qxtt.h"

namespace QXA {

/// What every record of this technology has as platform.
inline constexpr const char* kLinuxPlatform = "Linux";

/// The record as a template record, null when it is none.
std::shared_ptr<const QXAPackageQXTemplate> asKRTemplate(const QXL::QXLPackageSP& package);

/// True for a template record that is not of the standard technology.
bool isKRTemplate(const QXL::QXLPackageSP& package);
bool isKROsTemplate(const QXL::QXLPackageSP& package);
bool isKRApplicationTemplate(const QXL::QXLPackageSP& package);

/// The packages of a list that are not standard ones, in order.
QXL::QXLPackageList selectKRPackages(const QXL::QXLPackageList& packages);

/// Stores a KR name with its leading "."; a null or empty source leaves the target unchanged.
void assignDottedName(std::string& target, const char* source);

/// Stores the name of a record's OS template with its leading "."; a null or empty source empties
/// it.
void assignOsName(QXL::QXLPackage& record, const char* source);

/// The name of a record's OS template, "" when there is none.
std::string osNameOf(const QXL::QXLPackage& record);

/// Writes one word of the library's options. @param offset  in bytes, QXTT_OPTION_...
void setQxttOption(qxtt_options& options, unsigned offset, std::uint32_t value);
std::uint32_t qxttOption(const qxtt_options& options, unsigned offset);

/// Options of a listing: the library's defaults, with what the list options ask for.
void initQxttOptions(const QXAPackageListOptions& listOptions, qxtt_options& options);

/// Options of a query for one record: nothing but the mask.
qxtt_options makeQueryOptions(std::uint32_t mask);

/// True when the library marks something as set by the text "yes"; a null text is no.
bool isQxttYes(const char* text);

/// The lines of a text, each followed by a line end. `lines` ends with null and is not null.
std::string joinQxttLines(const char* const* lines);

/// A template record of a list entry. The entry's record of the library is not null.
/// @param osName  the OS template that an application template belongs to.
/// @param status  what the container's status says of its templates.
QXAPackageQXTemplate makeKRTemplate(const templateListEntry& entry, const std::string& osName,
                                    bool showSummary, bool status);

/// Appends a package record for each entry. @return 0, or -1 without an array.
int appendPackages(const packageListEntry* const* entries, const std::string& osName,
                   bool showSummary, QXL::QXLPackageList& out);

/// Appends a package record for each name. @return 0, or -1 without an array.
int appendPackages(const char* const* names, const std::string& osName, QXL::QXLPackageList& out);

}  // namespace QXA
