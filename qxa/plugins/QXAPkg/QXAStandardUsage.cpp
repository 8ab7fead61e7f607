// Finds standard templates that containers of this node use: these must not be removed.
#include <algorithm>
#include <iterator>
#include <optional>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"

namespace QXA {

namespace {

/// The environments could not be listed. Callers outside this technology never see the code.
constexpr int kUsageUnknown = -3;

void sortTemplates(std::vector<QXATemplate>& templates) {
    std::sort(templates.begin(), templates.end(), templateLess);
}

std::string joinTemplates(const std::vector<QXATemplate>& templates) {
    std::string text;
    for (const auto& key : templates) {
        text += (&key == &templates.front() ? "" : ", ") + key.toString();
    }
    return text;
}

/// Appends, for each template, all versions of it that the node has.
int expandVersions(const std::vector<QXATemplate>& templates, std::vector<QXATemplate>& out) {
    for (const auto& key : templates) {
        QXAPackageInfo info;
        const int result = QXATEMLocal(nullptr).get(key, info);
        if (result == kTemUnknownTemplate || result == kTemUnknownVersion) {
            continue;
        }
        if (result != kTemOk) {
            return QXL::kPkgFailed;
        }
        for (const auto& version : info.versions) {
            out.emplace_back(info.name, version.version);
        }
    }
    return QXL::kPkgOk;
}

}  // namespace

bool QXAStandardTemplateImpl::checkTemplatesNotInUse(std::vector<QXATemplate> keys) {
    if (keys.empty()) {
        return true;
    }
    std::vector<QXATemplate> used;
    if (collectUsedTemplates(used) != QXL::kPkgOk) {
        return false;
    }
    sortTemplates(keys);
    sortTemplates(used);
    std::vector<QXATemplate> common;
    mergeIntersection(used.begin(), used.end(), keys.begin(), keys.end(),
                      std::back_inserter(common), templateUsageLess);
    if (common.empty()) {
        return true;
    }
    QXL::setErrorMessage("some Containers use package(s) %s", joinTemplates(common).c_str());
    return false;
}

int QXAStandardTemplateImpl::collectUsedTemplates(std::vector<QXATemplate>& out) {
    const auto cache = QXL::envCache();
    if (cache == nullptr) {
        QXL::setErrorMessage("the environment cache is not accessible");
        return kUsageUnknown;
    }
    const auto environments = cache->getEnvList();
    if (environments == nullptr) {
        QXL::setErrorMessage("cannot fetch the environments list");
        return kUsageUnknown;
    }
    std::vector<QXATemplate> templates;
    for (const auto& env : *environments) {
        if (env != nullptr && env->getParentEID() == QXL::QXLConfiguration::getLocalEID()) {
            appendTemplatesOf(*env, templates);
        }
    }
    sortTemplates(templates);
    templates.erase(std::unique(templates.begin(), templates.end()), templates.end());
    return expandVersions(templates, out);
}

void QXAStandardTemplateImpl::appendTemplatesOf(const QXL::QXLEnv& env,
                                                std::vector<QXATemplate>& out) {
    const QXAEnvConfig config(env.getConfig());
    if (!isVeCompatible(env.getEID(), config)) {
        return;
    }
    std::optional<QXATemplate> osTemplate;
    if (config.getOsTemplate(osTemplate) != 0 || !osTemplate.has_value() ||
        osTemplate->name.empty()) {
        return;
    }
    std::optional<std::vector<QXATemplate>> templates;
    if (config.getTemplates(templates) != 0) {
        return;
    }
    out.push_back(*osTemplate);
    if (templates.has_value()) {
        out.insert(out.end(), templates->begin(), templates->end());
    }
}

}  // namespace QXA
