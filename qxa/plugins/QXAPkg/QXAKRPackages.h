// KR packages as records: how to recognise, name and make them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLPackage.h"
#include "qxa/plugins/QXAPkg/QXAPackageListOptions.h"
#include "qxtt/qxtt.h"

namespace QXA {

/// The platform of every record of this technology.
inline constexpr const char* kLinuxPlatform = "Linux";

/// The record as a template record of any technology; null if it is not a template.
std::shared_ptr<const QXAPackageQXTemplate> asKRTemplate(const QXL::QXLPackageSP& package);

/// True for every template record that is not of the standard technology: nothing else marks KR
/// templates.
bool isKRTemplate(const QXL::QXLPackageSP& package);
bool isKROsTemplate(const QXL::QXLPackageSP& package);
bool isKRApplicationTemplate(const QXL::QXLPackageSP& package);

/// The packages of a list that are not standard templates, in order; null elements included.
QXL::QXLPackageList selectKRPackages(const QXL::QXLPackageList& packages);

/// Stores a KR name with a leading "."; a null or empty source leaves the target unchanged.
void assignDottedName(std::string& target, const char* source);

/// Sets the name of a record's OS template, with a leading "."; a null or empty source gives "".
void assignOsName(QXL::QXLPackage& record, const char* source);

/// The name of a record's OS template; "" if there is none.
std::string osNameOf(const QXL::QXLPackage& record);

/// Writes or reads one word of the library's options. @param offset  in bytes, QXTT_OPTION_...
void setQxttOption(qxtt_options& options, unsigned offset, std::uint32_t value);
std::uint32_t qxttOption(const qxtt_options& options, unsigned offset);

/// Options of a listing: the library's defaults and the fields that the list options ask for.
void initQxttOptions(const QXAPackageListOptions& listOptions, qxtt_options& options);

/// Options of a query for one record: zero but for the mask.
qxtt_options makeQueryOptions(std::uint32_t mask);

/// True for the text "yes", with which the library sets a flag; a null text is false.
bool isQxttYes(const char* text);

/// The lines of a text, each with a line end. `lines` is not null and ends with null.
std::string joinQxttLines(const char* const* lines);

/// The template record of a list entry. `entry.info` must not be null.
/// @param osName  the OS template that an application template belongs to.
/// @param status  the record's `status`.
QXAPackageQXTemplate makeKRTemplate(const templateListEntry& entry, const std::string& osName,
                                    bool showSummary, bool status);

/// Appends a package record for each entry. @return 0; -1 if `entries` is null.
int appendPackages(const packageListEntry* const* entries, const std::string& osName,
                   bool showSummary, QXL::QXLPackageList& out);

/// Appends a package record for each name. @return 0; -1 if `names` is null.
int appendPackages(const char* const* names, const std::string& osName, QXL::QXLPackageList& out);

}  // namespace QXA
