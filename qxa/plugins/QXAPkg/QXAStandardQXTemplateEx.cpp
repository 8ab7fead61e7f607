// Builds standard template records and says which of them are compatible.
#include "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx.h"

#include <strings.h>

#include <iterator>
#include <memory>
#include <vector>

#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"

namespace QXA {

namespace {

/// A record that belongs to the template and has its platform and architecture.
std::shared_ptr<QXL::QXLPackage> memberRecord(const QXATemplateConfigInfo& info,
                                              const QXATemplate& key) {
    auto record = std::make_shared<QXL::QXLPackage>();
    record->name = key.name;
    record->version = key.version;
    record->architecture = info.architecture;
    record->os.platform = info.platform;
    return record;
}

bool matchesBaseOs(const QXL::QXLPackage& entry, const QXL::QXLPackage& candidate) {
    if (entry.name != candidate.name) {
        return false;
    }
    if (!entry.version.empty() && entry.version != candidate.version) {
        return false;
    }
    return entry.architecture.empty() || candidate.architecture.empty() ||
           entry.architecture == candidate.architecture;
}

bool anyMatchesBaseOs(const QXL::QXLPackageList& entries, const QXL::QXLPackage& candidate) {
    for (const auto& entry : entries) {
        if (entry != nullptr && matchesBaseOs(*entry, candidate)) {
            return true;
        }
    }
    return false;
}

/// Both lists should be sorted; this is not checked.
bool shareTechnology(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    std::vector<std::string> common;
    mergeIntersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(common),
                      std::less<>());
    return !common.empty();
}

}  // namespace

QXAStandardQXTemplateEx::QXAStandardQXTemplateEx(const QXATemplateConfigInfo& info,
                                                 const QXAPackageVersion& ver)
    : versionDetail(ver.detail) {
    name = info.name;
    version = info.version;
    summary = info.summary;
    description = info.description;
    architecture = info.architecture;
    os.platform = info.platform;
    setTechnologyList(info.technologies);
    packageFlag = info.packageFlag;
    isOsTemplate = info.isOsTemplate;
    versionFlag = ver.isOsTemplate;

    const bool hasBase = !info.baseOsTemplates.empty();
    const auto base = hasBase ? info.baseOsTemplates.front() : QXATemplate();
    baseOsTemplates.reserve(info.baseOsTemplates.size());
    for (const auto& key : info.baseOsTemplates) {
        auto record = memberRecord(info, key);
        record->os.osName = base.name;
        record->os.osVersion = base.version;
        baseOsTemplates.push_back(std::move(record));
    }
    if (hasBase && !isOsTemplate) {
        os.osName = base.name;
    }
    packages.reserve(info.packages.size());
    for (const auto& [key, package] : info.packages) {
        auto record = memberRecord(info, package);
        record->os.osName = hasBase ? base.name : info.summary;
        record->os.osVersion = hasBase ? base.version : info.version;
        packages.push_back(std::move(record));
    }
}

bool QXAStandardQXTemplateEx::compatible(const QXAStandardQXTemplateEx& other) const {
    // Only the platform is compared without case: people write it in different ways.
    const auto platform = os.platform.value_or("");
    const auto otherPlatform = other.os.platform.value_or("");
    if (strcasecmp(platform.c_str(), otherPlatform.c_str()) != 0) {
        return false;
    }
    if (isOsTemplate) {
        if (!other.isOsTemplate) {
            return anyMatchesBaseOs(other.baseOsTemplates, *this);
        }
        return name == other.name && architecture == other.architecture &&
               shareTechnology(getTechnologyList(), other.getTechnologyList());
    }
    return other.isOsTemplate ? anyMatchesBaseOs(baseOsTemplates, other) : name == other.name;
}

// The file and line that a report of a second default factory would name.
constexpr unsigned kRegistrationLine = 16;

QXAStandardQXTemplateExFactory factoryQXAStandardQXTemplateEx(
    false, "qxa/plugins/QXAPkg/QXAStandardQXTemplateEx", kRegistrationLine);

}  // namespace QXA
