// Builds a request's records, calls the package manager and collects the result.
#include "tools/qxa/request.h"

#include <algorithm>
#include <filesystem>

#include "QXA/QXALibFunctionality.h"
#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "QXL/QXLXmlMessage.h"
#include "tools/qxa/names.h"
#include "tools/qxa/request_journal.h"

namespace qxa {

namespace {

bool hasType(const PackageOptions& options, const char* name) {
    return std::find(options.types.begin(), options.types.end(), name) != options.types.end();
}

/// In a container made from a KR template plain names are Linux packages, of the kind whose
/// database the container has. Elsewhere they are Linux packages only with "--type".
NameContext contextOf(const PackageOptions& options, const Target& target) {
    NameContext context;
    const auto& osTemplate = target.record.osTemplate;
    const bool krContainer = !target.node && osTemplate.starts_with('.');
    context.packages = krContainer || hasType(options, "rpm") || hasType(options, "deb");
    context.deb = hasType(options, "deb");
    if (krContainer && !hasType(options, "rpm") && !hasType(options, "deb")) {
        std::error_code ignored;
        context.deb = std::filesystem::exists(
            target.record.privateArea + "/root/var/lib/dpkg/status", ignored);
    }
    context.osName = !options.os.empty() ? options.os : krContainer ? osTemplate : "";
    if (!context.osName.empty() && !context.osName.starts_with('.')) {
        context.osName.insert(0, ".");
    }
    return context;
}

bool isVersionlessStandard(const QXL::QXLPackage& record) {
    return record.version.empty() &&
           dynamic_cast<const QXA::QXAPackageQXTemplateStd*>(&record) != nullptr;
}

/// The interface selects by exact name and version. So a standard template without a version is
/// replaced by all versions that the target lists; if it lists none, the record is kept.
QXL::QXLPackageList withVersions(QXA::QXAPkgM& manager, const QXL::QXLEID& eid,
                                 const QXL::QXLPackageList& requested) {
    if (std::none_of(requested.begin(), requested.end(),
                     [](const auto& record) { return isVersionlessStandard(*record); })) {
        return requested;
    }
    QXL::QXLPackageList listed;
    if (manager.list(eid, {}, &listed, QXL::QXLPackageManagerListOptions(0)) != QXL::kPkgOk) {
        return requested;
    }
    QXL::QXLPackageList expanded;
    for (const auto& record : requested) {
        const auto before = expanded.size();
        if (isVersionlessStandard(*record)) {
            std::copy_if(listed.begin(), listed.end(), std::back_inserter(expanded),
                         [&](const QXL::QXLPackageSP& candidate) {
                             return candidate->name == record->name &&
                                    dynamic_cast<const QXA::QXAPackageQXTemplateStd*>(
                                        candidate.get()) != nullptr;
                         });
        }
        if (expanded.size() == before) {
            expanded.push_back(record);
        }
    }
    return expanded;
}

QXL::QXLPackageManagerListOptions listOptionsOf(const PackageOptions& options) {
    unsigned flags = options.summary ? QXL::kPkgListSummary : 0U;
    flags |= options.compatible ? QXL::kPkgListCompatible : 0U;
    QXL::QXLPackageManagerListOptions listOptions(flags);
    for (const auto& type : options.types) {
        // In the interface "rpm" means packages of any packaging.
        listOptions.types.push_back(type == "deb" ? "rpm" : type);
    }
    return listOptions;
}

/// Calls the manager; fills `out` with the result records.
int call(QXA::QXAPkgM& manager, const Request& request, const Target& target,
         QXL::QXLPackageList& out) {
    const auto& options = request.options;
    const auto context = contextOf(options, target);
    QXL::QXLPackageManagerOptions flags;
    flags.flags = options.flags;
    switch (request.operation) {
        case Operation::install:
            return manager.install(target.eid, installationsOf(options.names, context), &out,
                                   flags);
        case Operation::update:
            return manager.update(target.eid, installationsOf(options.names, context), &out, flags);
        case Operation::remove:
            return manager.remove(target.eid, recordsOf(options.names, context), &out, flags);
        case Operation::list:
            return manager.list(
                target.eid, withVersions(manager, target.eid, recordsOf(options.names, context)),
                &out, listOptionsOf(options));
        case Operation::info:
            return manager.getInfo(
                target.eid, withVersions(manager, target.eid, recordsOf(options.names, context)),
                &out);
        case Operation::fetch:
            return manager.fetch(recordsOf(options.names, context));
        case Operation::clean:
            return manager.clean(recordsOf(options.names, context));
    }
    return QXL::kPkgFailed;
}

bool isServed(const Target& target) {
    return target.node ||
           (target.known && target.record.parent == QXL::QXLConfiguration::getLocalEID() &&
            target.record.type == QXA::kTechnologyName);
}

/// Why the node cannot install the file of this name; empty if it can.
std::string uninstallable(const std::string& name) {
    if (!isPath(name) && !isArchiveName(name)) {
        return "'" + name + "' is not a template package file; the node installs only those";
    }
    return std::filesystem::exists(name) ? "" : "there is no file '" + name + "'";
}

/// Why a name cannot be fetched or cleaned; empty if it can. The interface would answer "done" for
/// a standard template, because it has nothing to download.
std::string unfetchable(const std::string& name, const NameContext& context) {
    return name.starts_with('.') || context.packages
               ? ""
               : "'" + name + "' is the name of a standard template; a KR template has a dot (." +
                     name + "), a package needs --type deb or --type rpm";
}

/// Why a template cannot be used in this container; empty if it can. The KR tool gets only the
/// application's name and would take the container's own application of that name.
std::string foreign(const std::string& name, const Target& target) {
    const auto& os = target.record.osTemplate;
    return name.starts_with('.') && os.starts_with('.') && name.find('/') != std::string::npos &&
                   !name.starts_with(os + "/")
               ? "'" + name + "' does not belong to " + os + ", which container " + target.label +
                     " is made from"
               : "";
}

/// What is wrong with a request that the interface would ignore or misunderstand; empty if nothing.
std::string unusable(const Request& request, const Target& target) {
    if (!target.known && !target.eid.isValid()) {
        return "unknown container '" + target.label + "'";
    }
    const auto context = contextOf(request.options, target);
    for (const auto& name : request.options.names) {
        std::string reason;
        if (!target.node) {
            reason = changes(request.operation) ? foreign(name, target) : "";
        } else if (request.operation == Operation::install) {
            reason = uninstallable(name);
        } else if (request.operation == Operation::fetch || request.operation == Operation::clean) {
            reason = unfetchable(name, context);
        }
        if (!reason.empty()) {
            return reason;
        }
    }
    return {};
}

/// "'a', 'b', 'c'".
std::string enumeration(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "'" : ", '") + name + "'";
    }
    return text;
}

std::string asXml(const QXL::QXLPackageList& records) {
    QXL::QXLXmlMessage message;
    for (const auto& record : records) {
        if (record != nullptr && message.append(*record) != 0) {
            return {};
        }
    }
    return message.text();
}

}  // namespace

const char* operationName(Operation operation) {
    switch (operation) {
        case Operation::install:
            return "install";
        case Operation::remove:
            return "remove";
        case Operation::update:
            return "update";
        case Operation::list:
            return "list";
        case Operation::info:
            return "info";
        case Operation::fetch:
            return "fetch";
        case Operation::clean:
            return "clean";
    }
    return "";
}

bool changes(Operation operation) {
    return operation != Operation::list && operation != Operation::info;
}

Outcome runRequest(const Plugin& plugin, const Request& request, const Target& target) {
    Outcome outcome;
    outcome.operation = operationName(request.operation);
    outcome.target = target.label;
    outcome.message = unusable(request, target);
    if (!outcome.message.empty()) {
        outcome.code = QXL::kPkgFailed;
        outcome.exitCode = target.known ? kExitUsage : kExitUnknownTarget;
        return outcome;
    }
    const auto manager = plugin.createManager();
    if (manager == nullptr) {
        outcome.code = QXL::kPkgFailed;
        outcome.message = "no package manager is registered for this node";
        outcome.exitCode = kExitFailed;
        return outcome;
    }

    RequestJournal journal(request, target);
    QXL::clearErrorMessage();
    QXL::QXLPackageList records;
    outcome.code = call(*manager, request, target, records);
    if (outcome.code != QXL::kPkgOk) {
        outcome.message = QXL::getErrorMessage();
        outcome.exitCode = exitCodeOf(
            {outcome.code, outcome.message, QXL::getLastErrorData().code, isServed(target)});
    } else if (!changes(request.operation) && !request.options.names.empty() && records.empty()) {
        outcome.code = QXL::kPkgFailed;
        outcome.message = "nothing matches " + enumeration(request.options.names);
        outcome.exitCode = kExitFailed;
    }
    outcome.packages = viewsOf(records);
    if (request.wantXml) {
        outcome.xml = asXml(records);
    }
    journal.end(outcome);
    return outcome;
}

}  // namespace qxa
