// The operations of the standard technology.
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"

#include <algorithm>

#include "QXA/QXATEMLocal.h"
#include "QXL/QXLEnv.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAStandardListing.h"
#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"

namespace QXA {

namespace {

bool forced(const QXL::QXLPackageManagerOptions& options) {
    return (options.flags & QXL::kPkgOptionForce) != 0;
}

bool isContainer(const QXL::QXLEID& eid) {
    if (!eid.isValid() || eid == QXL::QXLEID::EID_LOCAL) {
        return false;
    }
    const auto cache = QXL::envCache();
    const auto env = cache == nullptr ? nullptr : cache->getEnvCopy(eid);
    return env != nullptr && env->getType() != QXL::QXLEnv::type;
}

int listPlain(const QXL::QXLEID& where, const QXL::QXLPackageList& packages,
              const QXAPackageListOptions& options, QXL::QXLPackageList* out) {
    StandardRecords all;
    if (readTemplates(where, options.showFlags(), all) != QXL::kPkgOk) {
        return QXL::kPkgFailed;
    }
    const auto selected = packages.empty() ? allOf(all) : selectRequested(packages, all);
    if (!selected.empty()) {
        appendListing(selected, options, out);
    }
    return QXL::kPkgOk;
}

/// Appends the node's templates that are compatible with the container's OS template.
int listCompatibleInContainer(const QXL::QXLEID& eid, const QXAPackageListOptions& options,
                              QXL::QXLPackageList* out) {
    if (options.showFlags() == kShowPackages) {
        return QXL::kPkgOk;
    }
    StandardRecords containerOs;
    if (readTemplates(eid, kShowOsTemplates, containerOs) != QXL::kPkgOk || containerOs.empty()) {
        return QXL::kPkgFailed;
    }
    StandardRecords node;
    if (readTemplates(QXL::QXLEID::EID_LOCAL, options.showFlags(), node) != QXL::kPkgOk) {
        return QXL::kPkgFailed;
    }
    StandardSelection compatible;
    for (const auto& record : node) {
        if (PackagesCompatibilityChecker()(record, containerOs.front())) {
            compatible.push_back(&record);
        }
    }
    appendRecords(compatible, !options.showSummary(), out);
    return QXL::kPkgOk;
}

/// Appends the node's templates that are compatible with the requested ones.
int listCompatibleOnNode(const QXL::QXLPackageList& packages, const QXAPackageListOptions& options,
                         QXL::QXLPackageList* out) {
    if (packages.empty()) {
        return QXL::kPkgOk;
    }
    StandardRecords all;
    if (readTemplates(QXL::QXLEID::EID_LOCAL, options.showFlags(), all) != QXL::kPkgOk) {
        return QXL::kPkgFailed;
    }
    const auto compatible = selectCompatible(selectRequested(packages, all), all);
    if (!compatible.empty()) {
        appendListing(compatible, options, out);
    }
    return QXL::kPkgOk;
}

/// The agent's code for a result of the template manager's set().
int installationResult(int result) {
    switch (result) {
        case kTemOk:
            return QXL::kPkgOk;
        case kTemConflict:
            return QXL::kPkgConflict;
        case kTemNotStandard:
            return QXL::kPkgUnknownCollection;
        case kTemDamaged:
            return QXL::kPkgDamaged;
        default:
            return QXL::kPkgInstallFailed;
    }
}

}  // namespace

int QXAStandardTemplateImpl::clean(const QXL::QXLPackageList& /*pkgs*/) {
    return QXL::kPkgOk;
}

int QXAStandardTemplateImpl::fetch(const QXL::QXLPackageList& /*pkgs*/) {
    return QXL::kPkgOk;
}

int QXAStandardTemplateImpl::info(const QXL::QXLEID& /*eid*/, const QXL::QXLPackageList& pkgs,
                                  QXL::QXLPackageList* out) {
    const auto standard = standardPackages(pkgs);
    if (out != nullptr) {
        out->reserve(out->size() + standard.size());
    }
    const bool stopped = std::any_of(
        standard.begin(), standard.end(),
        [&](const QXL::QXLPackageSP& package) { return StandardPackageTEMReader()(package, out); });
    return stopped ? QXL::kPkgInfoUnreadable : QXL::kPkgOk;
}

int QXAStandardTemplateImpl::list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                                  const QXL::QXLPackageManagerListOptions& opts,
                                  QXL::QXLPackageList* out) {
    const bool container = isContainer(eid);
    const QXAPackageListOptions options(opts, pkgs.empty(), container);
    if (!options.listCompatible()) {
        return listPlain(container ? eid : QXL::QXLEID::EID_LOCAL, pkgs, options, out);
    }
    return container ? listCompatibleInContainer(eid, options, out)
                     : listCompatibleOnNode(pkgs, options, out);
}

int QXAStandardTemplateImpl::removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                                          const QXL::QXLPackageManagerOptions& opts,
                                          QXL::QXLPackageList* /*out*/) {
    return QXATEMLocal(nullptr).rm(eid, standardTemplates(pkgs), forced(opts), true);
}

int QXAStandardTemplateImpl::removeFromNode(const QXL::QXLPackageList& pkgs,
                                            const QXL::QXLPackageManagerOptions& /*opts*/,
                                            QXL::QXLPackageList* /*out*/) {
    const auto keys = standardTemplates(pkgs);
    if (!checkTemplatesNotInUse(keys)) {
        return QXL::kPkgFailed;
    }
    return QXATEMLocal(nullptr).unset(keys);
}

int QXAStandardTemplateImpl::updateInVE(const QXL::QXLEID& eid,
                                        const QXL::QXLInstallationPackageList& pkgs,
                                        const QXL::QXLPackageManagerOptions& opts,
                                        QXL::QXLPackageList* /*out*/) {
    auto keys = standardTemplates(pkgs);
    for (auto& key : keys) {
        key.version.clear();
    }
    return QXATEMLocal(nullptr).add(eid, keys, forced(opts), false);
}

int QXAStandardTemplateImpl::updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                                          const QXL::QXLPackageManagerOptions& /*opts*/,
                                          QXL::QXLPackageList* /*out*/) {
    const auto keys = standardTemplates(pkgs);
    if (!pkgs.empty() && keys.empty()) {
        return QXL::kPkgOk;
    }
    return QXATEMLocal(nullptr).cache(keys);
}

int QXAStandardTemplateImpl::installIntoVE(const QXL::QXLEID& eid,
                                           const QXL::QXLInstallationPackageList& pkgs,
                                           const QXL::QXLPackageManagerOptions& opts,
                                           QXL::QXLPackageList* out) {
    const auto standard = standardPackages(pkgs);
    const int result =
        QXATEMLocal(nullptr).add(eid, standardTemplates(standard), forced(opts), false);
    if (result != kTemOk) {
        return result == kTemConflict ? QXL::kPkgConflict : QXL::kPkgInstallFailed;
    }
    const QXL::QXLPackageManagerListOptions listOptions(0);
    return listPlain(QXL::QXLEID::EID_LOCAL, standard,
                     QXAPackageListOptions(listOptions, false, false), out);
}

int QXAStandardTemplateImpl::installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                                           const QXL::QXLPackageManagerOptions& opts,
                                           QXL::QXLPackageList* out) {
    std::vector<QXAPackageInfo> infos;
    const int result =
        installationResult(QXATEMLocal(nullptr).set(getPathList(pkgs), forced(opts), infos));
    if (result != QXL::kPkgOk || infos.empty()) {
        return result;
    }
    StandardRecords records;
    if (collectRecords(infos, records) != QXL::kPkgOk) {
        return QXL::kPkgInstallFailed;
    }
    appendRecords(allOf(records), false, out);
    return QXL::kPkgOk;
}

bool QXAStandardTemplateImpl::isVeCompatible(const QXL::QXLEID& /*eid*/,
                                             const QXAEnvConfig& config) {
    return !isKROsTemplateName(config.getOS());
}

bool QXAStandardTemplateImpl::doesPackageSuitForOperationsInsideVE(
    std::shared_ptr<const QXL::QXLPackage> pkg) const {
    return isStandardPackage(pkg);
}

}  // namespace QXA
