// The operations of the KR technology.
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "qxa/plugins/QXAPkg/QXAKRListing.h"
#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "qxa/plugins/QXAPkg/QXAKRSearchers.h"
#include "qxa/plugins/QXAPkg/QXAPackageInfoReader.h"
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"

namespace QXA {

namespace {

/// Exit codes of the KR tool that have results of their own.
enum ToolResult : int {
    kToolRefused = 27,
    kToolForeignFile = 33,  ///< a file is not a KR template package; nothing was changed
};

/// The options that each command accepts; it must not get the others.
constexpr unsigned kInstallFlags =
    QXL::kPkgOptionCacheOnly | QXL::kPkgOptionDryRun | QXL::kPkgOptionForce;
constexpr unsigned kRemoveFlags =
    QXL::kPkgOptionDryRun | QXL::kPkgOptionWithDependent | QXL::kPkgOptionForce;
constexpr unsigned kCacheFlags = QXL::kPkgOptionForce;

int flagsOf(const QXL::QXLPackageManagerOptions& options, unsigned mask) {
    return static_cast<int>(options.flags & mask);
}

void append(QXL::QXLPackageList* out, const QXL::QXLPackageList& records) {
    if (out != nullptr) {
        out->insert(out->end(), records.begin(), records.end());
    }
}

/// An element without a record gives null: the list must not become empty, which means "all".
QXL::QXLPackageList recordsOf(const QXL::QXLInstallationPackageList& packages) {
    QXL::QXLPackageList records;
    records.reserve(packages.size());
    for (const auto& package : packages) {
        records.push_back(package == nullptr ? nullptr : package->package);
    }
    return records;
}

/// The names of the KR templates in a list, or of everything else in it.
exec_argument_type namesOf(const QXL::QXLPackageList& packages, bool templates) {
    exec_argument_type names;
    for (const auto& package : packages) {
        if (package != nullptr && isKRTemplate(package) == templates) {
            names.push_back(package->name);
        }
    }
    return names;
}

exec_argument_type joined(exec_argument_type arguments, const exec_argument_type& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

/// Runs the tool for a container, or, if the EID is the node's, without a container's number: first
/// for the templates, then for the packages, which may come with the templates.
int runVeCommand(const exec_argument_type& arguments, const QXL::QXLEID& eid,
                 const QXL::QXLPackageList& packages, QXL::QXLPackageList* out) {
    std::string veid;
    if (getVeidString(eid, veid) != QXL::kPkgOk) {
        QXL::setErrorMessage("can't get veid by eid '%s'", eid.toString().c_str());
        return QXL::kPkgFailed;
    }
    const auto container = veid.empty() ? exec_argument_type{} : exec_argument_type{veid};
    const auto templates = namesOf(packages, true);
    const auto others = namesOf(packages, false);
    QXL::QXLPackageList records;
    auto* parsed = out == nullptr ? nullptr : &records;
    if (!templates.empty()) {
        const int result =
            execCommand(joined(joined(arguments, container), templates), &parsePackageLine, parsed);
        if (result != 0) {
            return result;
        }
    }
    if (!others.empty() || packages.empty()) {
        const int result =
            execCommand(joined(joined(joined(arguments, {kExecPackages}), container), others),
                        &parsePackageLine, parsed);
        if (result != 0) {
            return result;
        }
    }
    append(out, records);
    return QXL::kPkgOk;
}

/// Runs the tool to install or update templates from files.
int runNodeTemplateCommand(const exec_argument_type& arguments, const exec_argument_type& paths,
                           QXL::QXLPackageList& out) {
    if (paths.empty()) {
        return QXL::kPkgOk;
    }
    switch (execCommand(joined(arguments, paths), &parseTemplateLine, &out)) {
        case 0:
            return QXL::kPkgOk;
        case kToolRefused:
            return QXL::kPkgConflict;
        case kToolForeignFile:
            return QXL::kPkgUnknownCollection;
        default:
            return QXL::kPkgInstallFailed;
    }
}

exec_argument_type cacheArguments(const char* command,
                                  const QXL::QXLPackageManagerOptions& options) {
    auto arguments =
        makeExecArguments(command, flagsOf(options, kCacheFlags), QXL::QXLEID::EID_INVALID);
    arguments.insert(arguments.begin() + 2, kExecCache);
    return arguments;
}

/// Runs the tool to build or rebuild the caches of the OS templates in a list.
int runCacheCommand(const char* command, const QXL::QXLPackageList& packages,
                    const QXL::QXLPackageManagerOptions& options) {
    exec_argument_type names;
    std::accumulate(packages.begin(), packages.end(), &names, PackageOsNameWriter());
    return names.empty() ? int{QXL::kPkgOk}
                         : execCommand(joined(cacheArguments(command, options), names));
}

}  // namespace

int QXAKRTemplateImpl::clean(const QXL::QXLPackageList& pkgs) {
    return runVeCommand(makeExecArguments("clean", 0, QXL::QXLEID::EID_INVALID),
                        QXL::QXLEID::EID_INVALID, selectKRPackages(pkgs), nullptr);
}

int QXAKRTemplateImpl::fetch(const QXL::QXLPackageList& pkgs) {
    return runVeCommand(makeExecArguments("fetch", 0, QXL::QXLEID::EID_INVALID),
                        QXL::QXLEID::EID_INVALID, selectKRPackages(pkgs), nullptr);
}

int QXAKRTemplateImpl::info(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                            QXL::QXLPackageList* out) {
    const auto selected = selectKRPackages(pkgs);
    if (selected.empty()) {
        return QXL::kPkgOk;
    }
    std::string veid;
    if (getVeidString(eid, veid) != QXL::kPkgOk) {
        QXL::setErrorMessage("can't get veid by eid %s", eid.toString().c_str());
        return QXL::kPkgFailed;
    }
    QXL::QXLPackageList dropped;
    QXL::QXLPackageList& records = out == nullptr ? dropped : *out;
    records.reserve(records.size() + selected.size());
    const PackageInfoReader read(veid);
    const bool stopped = std::any_of(
        selected.begin(), selected.end(),
        [&](const QXL::QXLPackageSP& package) { return read(package, records) != QXL::kPkgOk; });
    return stopped ? QXL::kPkgInfoUnreadable : QXL::kPkgOk;
}

int QXAKRTemplateImpl::list(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                            const QXL::QXLPackageManagerListOptions& opts,
                            QXL::QXLPackageList* out) {
    std::string veid;
    if (getVeidString(eid, veid) != QXL::kPkgOk) {
        QXL::setErrorMessage("can't get veid by eid %s", eid.toString().c_str());
        return QXL::kPkgFailed;
    }
    const auto selected = selectKRPackages(pkgs);
    if (!pkgs.empty() && selected.empty()) {
        return QXL::kPkgOk;
    }
    const int id = veid.empty() ? 0 : std::stoi(veid);
    const QXAPackageListOptions options(opts, pkgs.empty(), id != 0);
    return id != 0 ? listKRInContainer(id, selected, options, out)
                   : listKROnNode(selected, options, out);
}

int QXAKRTemplateImpl::removeFromVE(const QXL::QXLEID& eid, const QXL::QXLPackageList& pkgs,
                                    const QXL::QXLPackageManagerOptions& opts,
                                    QXL::QXLPackageList* out) {
    return runVeCommand(makeExecArguments("remove", flagsOf(opts, kRemoveFlags), eid), eid, pkgs,
                        out);
}

int QXAKRTemplateImpl::removeFromNode(const QXL::QXLPackageList& pkgs,
                                      const QXL::QXLPackageManagerOptions& opts,
                                      QXL::QXLPackageList* out) {
    auto selected = selectKRPackages(pkgs);
    selected.erase(std::remove(selected.begin(), selected.end(), nullptr), selected.end());
    if (selected.empty()) {
        return QXL::kPkgOk;
    }
    const auto arguments =
        makeExecArguments("remove", flagsOf(opts, kRemoveFlags), QXL::QXLEID::EID_LOCAL);
    if (!checkTemplateUsage(selected)) {
        return QXL::kPkgFailed;
    }
    // Application templates go first: an OS template cannot be removed while it has some.
    const auto applicationsEnd =
        std::stable_partition(selected.begin(), selected.end(), isKRApplicationTemplate);
    const bool failed = std::any_of(
        selected.begin(), applicationsEnd,
        [&](const QXL::QXLPackageSP& package) { return QXTemplateRemover()(package, arguments); });
    if (failed) {
        return QXL::kPkgFailed;
    }
    exec_argument_type names;
    std::accumulate(applicationsEnd, selected.end(), &names, PackageOsNameWriter());
    if (!names.empty() && execCommand(joined(arguments, names)) != 0) {
        return QXL::kPkgFailed;
    }
    append(out, selected);
    return QXL::kPkgOk;
}

int QXAKRTemplateImpl::updateInVE(const QXL::QXLEID& eid,
                                  const QXL::QXLInstallationPackageList& pkgs,
                                  const QXL::QXLPackageManagerOptions& opts,
                                  QXL::QXLPackageList* out) {
    return runVeCommand(makeExecArguments("update", flagsOf(opts, kInstallFlags), eid), eid,
                        recordsOf(pkgs), out);
}

int QXAKRTemplateImpl::updateOnNode(const QXL::QXLInstallationPackageList& pkgs,
                                    const QXL::QXLPackageManagerOptions& opts,
                                    QXL::QXLPackageList* out) {
    if (pkgs.empty()) {
        return execCommand(cacheArguments("update", opts));
    }
    const auto arguments =
        makeExecArguments("update", flagsOf(opts, kInstallFlags), QXL::QXLEID::EID_LOCAL);
    QXL::QXLPackageList records;
    if (runNodeTemplateCommand(arguments, getPathList(pkgs), records) != QXL::kPkgOk) {
        return QXL::kPkgFailed;
    }
    std::accumulate(pkgs.begin(), pkgs.end(), &records, getPackageForUpdate);
    if (runCacheCommand("update", records, opts) != 0) {
        return QXL::kPkgFailed;
    }
    append(out, records);
    return QXL::kPkgOk;
}

int QXAKRTemplateImpl::installIntoVE(const QXL::QXLEID& eid,
                                     const QXL::QXLInstallationPackageList& pkgs,
                                     const QXL::QXLPackageManagerOptions& opts,
                                     QXL::QXLPackageList* out) {
    const auto arguments = makeExecArguments("install", flagsOf(opts, kInstallFlags), eid);
    switch (runVeCommand(arguments, eid, recordsOf(pkgs), out)) {
        case 0:
            return QXL::kPkgOk;
        case kToolRefused:
            return QXL::kPkgConflict;
        default:
            return QXL::kPkgInstallFailed;
    }
}

int QXAKRTemplateImpl::installOnNode(const QXL::QXLInstallationPackageList& pkgs,
                                     const QXL::QXLPackageManagerOptions& opts,
                                     QXL::QXLPackageList* out) {
    const auto paths = getPathList(pkgs);
    if (paths.empty()) {
        return QXL::kPkgOk;
    }
    const auto arguments =
        makeExecArguments("install", flagsOf(opts, kInstallFlags), QXL::QXLEID::EID_LOCAL);
    QXL::QXLPackageList records;
    const int result = runNodeTemplateCommand(arguments, paths, records);
    if (result != QXL::kPkgOk) {
        return result;
    }
    // Records that are already in the caller's list count as installed, too.
    QXL::QXLPackageList installed;
    if (out != nullptr) {
        installed = *out;
    }
    append(&installed, records);
    if (runCacheCommand("create", installed, opts) != 0) {
        return QXL::kPkgInstallFailed;
    }
    append(out, records);
    return QXL::kPkgOk;
}

bool QXAKRTemplateImpl::isVeCompatible(const QXL::QXLEID& /*eid*/, const QXAEnvConfig& config) {
    return isKROsTemplateName(config.getOS());
}

bool QXAKRTemplateImpl::doesPackageSuitForOperationsInsideVE(
    std::shared_ptr<const QXL::QXLPackage> pkg) const {
    return dynamic_cast<const QXL::QXLPackageLinux*>(pkg.get()) != nullptr || isKRTemplate(pkg);
}

}  // namespace QXA
