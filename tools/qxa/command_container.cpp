// Containers of the reference node: create, list, show, destroy.
#include <algorithm>
#include <cstdio>

#include "QXL/QXLError.h"
#include "tools/qxa/commands.h"
#include "tools/qxa/print.h"

namespace qxa {

namespace {

ExitCode exitCodeOfManager(int result) {
    switch (result) {
        case QXA::kEnvMOk:
            return kExitDone;
        case QXA::kEnvMExists:
            return kExitRefused;
        case QXA::kEnvMUnknown:
            return kExitUnknownTarget;
        default:
            return exitCodeOf({result, QXL::getErrorMessage(), QXL::getLastErrorData().code, true});
    }
}

std::optional<std::string> given(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

/// Reads an EID option. @return false when it was given and is none.
bool readEid(const std::string& text, std::optional<QXL::QXLEID>& eid) {
    if (text.empty()) {
        return true;
    }
    eid = QXL::QXLEID::fromString(text);
    return eid->isValid();
}

void printContainer(const CommonOptions& common, const QXA::QXAEnvRecord& record) {
    if (common.format == Format::json) {
        std::puts(containersAsJson({record}).c_str());
    } else if (!common.quiet) {
        printContainerDetails(record);
    }
}

}  // namespace

int runContainerCreate(const CommonOptions& common, const ContainerOptions& options) {
    QXA::QXAEnvSpec spec;
    spec.veid = options.veid;
    spec.privateArea = given(options.privateArea);
    spec.osTemplate = options.osTemplate;
    spec.type = given(options.type);
    if (!readEid(options.eid, spec.eid) || !readEid(options.parent, spec.parent)) {
        return printFailure(common, "ct create", "an EID must be a UUID", kExitUsage);
    }
    QXL::clearErrorMessage();
    QXA::QXAEnvRecord created;
    const int result = QXA::QXAEnvMLocal(nullptr).create(spec, &created);
    if (result != QXA::kEnvMOk) {
        return printFailure(common, "ct create", QXL::getErrorMessage(), exitCodeOfManager(result));
    }
    printContainer(common, created);
    return kExitDone;
}

int runContainerList(const CommonOptions& common) {
    std::vector<QXA::QXAEnvRecord> containers;
    if (QXA::QXAEnvMLocal(nullptr).list(containers) != QXA::kEnvMOk) {
        return printFailure(common, "ct list", QXL::getErrorMessage(), kExitFailed);
    }
    if (common.format == Format::json) {
        std::puts(containersAsJson(containers).c_str());
    } else if (!containers.empty()) {
        printContainerTable(containers);
    }
    return kExitDone;
}

int runContainerShow(const CommonOptions& common, int veid) {
    std::vector<QXA::QXAEnvRecord> containers;
    if (QXA::QXAEnvMLocal(nullptr).list(containers) != QXA::kEnvMOk) {
        return printFailure(common, "ct show", QXL::getErrorMessage(), kExitFailed);
    }
    const auto found =
        std::find_if(containers.begin(), containers.end(),
                     [&](const QXA::QXAEnvRecord& record) { return record.veid == veid; });
    if (found == containers.end()) {
        return printFailure(common, "ct show", "unknown container '" + std::to_string(veid) + "'",
                            kExitUnknownTarget);
    }
    auto loud = common;
    loud.quiet = false;
    printContainer(loud, *found);
    return kExitDone;
}

int runContainerDestroy(const CommonOptions& common, int veid) {
    QXL::clearErrorMessage();
    const int result = QXA::QXAEnvMLocal(nullptr).destroy(veid);
    if (result != QXA::kEnvMOk) {
        return printFailure(common, "ct destroy", QXL::getErrorMessage(),
                            exitCodeOfManager(result));
    }
    return kExitDone;
}

}  // namespace qxa
