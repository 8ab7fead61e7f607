// Finds KR templates that containers of this node use: these must not be removed.
#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

#include "QXL/QXLConfiguration.h"
#include "QXL/QXLError.h"
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"
#include "qxa/plugins/QXAPkg/QXAPackageText.h"

namespace QXA {

namespace {

/// Orders records by name, then OS name; an unset OS name counts as empty.
bool usageLess(const QXL::QXLPackageSP& a, const QXL::QXLPackageSP& b) {
    const int order = a->name.compare(b->name);
    return order != 0 ? order < 0 : osNameOf(*a) < osNameOf(*b);
}

bool sameUsage(const QXL::QXLPackageSP& a, const QXL::QXLPackageSP& b) {
    return a->name == b->name && osNameOf(*a) == osNameOf(*b);
}

/// A record for comparisons: names with their dot; an OS template has no OS name.
QXL::QXLPackageSP usageRecord(const std::string& name, const std::string& osName) {
    auto record = std::make_shared<QXL::QXLPackage>();
    assignDottedName(record->name, name.c_str());
    assignOsName(*record, osName.c_str());
    return record;
}

/// Such records for the packages to remove; a package that is not a template stays as it is.
QXL::QXLPackageList usageRecords(const QXL::QXLPackageList& packages) {
    QXL::QXLPackageList records;
    for (const auto& package : packages) {
        if (isKRTemplate(package)) {
            records.push_back(
                usageRecord(package->name, isKROsTemplate(package) ? "" : osNameOf(*package)));
        } else {
            records.push_back(package);
        }
    }
    return records;
}

}  // namespace

bool QXAKRTemplateImpl::checkTemplateUsage(const QXL::QXLPackageList& packages) {
    const auto cache = QXL::envCache();
    if (cache == nullptr) {
        QXL::setErrorMessage("the environment cache is not accessible");
        return false;
    }
    const auto environments = cache->getEnvList();
    if (environments == nullptr) {
        QXL::setErrorMessage("cannot fetch the environments list");
        return false;
    }
    QXL::QXLPackageList used;
    for (const auto& env : *environments) {
        if (env != nullptr && env->getParentEID() == QXL::QXLConfiguration::getLocalEID()) {
            appendTemplatesOf(*env, used);
        }
    }
    std::sort(used.begin(), used.end(), usageLess);
    used.erase(std::unique(used.begin(), used.end(), sameUsage), used.end());

    auto wanted = usageRecords(packages);
    std::sort(wanted.begin(), wanted.end(), usageLess);
    QXL::QXLPackageList common;
    mergeIntersection(used.begin(), used.end(), wanted.begin(), wanted.end(),
                      std::back_inserter(common), usageLess);
    if (common.empty()) {
        return true;
    }
    QXL::setErrorMessage("some Containers use package(s) %s",
                         getStringFromPackageList(common).c_str());
    return false;
}

void QXAKRTemplateImpl::appendTemplatesOf(const QXL::QXLEnv& env, QXL::QXLPackageList& out) {
    const QXAEnvConfig config(env.getConfig());
    if (!isVeCompatible(env.getEID(), config)) {
        return;
    }
    std::optional<QXATemplate> osTemplate;
    std::optional<std::vector<QXATemplate>> templates;
    if (config.getOsTemplate(osTemplate) != 0 || config.getTemplates(templates) != 0) {
        return;
    }
    const auto osName = osTemplate.has_value() ? osTemplate->name : "";
    if (!osName.empty()) {
        out.push_back(usageRecord(osName, ""));
    }
    if (templates.has_value()) {
        for (const auto& application : *templates) {
            out.push_back(usageRecord(application.name, osName));
        }
    }
}

}  // namespace QXA
