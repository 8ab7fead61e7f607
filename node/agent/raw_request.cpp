// Raw requests: the operators of the reference node are in this library, so a request is a call.
#include <string>

#include "QXL/QXLAccessChecker.h"
#include "QXL/QXLConfiguration.h"
#include "QXL/QXLRawRequestAgent.h"
#include "QXL/QXLResult.h"
#include "node/agent/error_store.h"
#include "node/agent/package_monitor.h"
#include "node/agent/xml_place.h"

namespace QXL {

namespace {

/// Codes in the last error data of requests that reached no operator.
enum RawRequestError : int {
    kRawNoRoute = 1,   ///< the EID's agent cannot be reached
    kRawNotBegun = 2,  ///< endCommand() without beginCommand(), or an empty name
    kRawUnknownOperator = 3,
    kRawUnknownCommand = 4,
    kRawOperatorFailed = 5,
};

int failed(int code, const std::string& message) {
    setLastErrorData(code, message);
    return code;
}

int runPackageMonitor(const std::string& command) {
    if (command != kSynchronizeLocal) {
        return failed(kRawUnknownCommand,
                      std::string(kPackageMonitorName) + ": unknown command '" + command + "'");
    }
    const auto client = QXLAccessChecker::getClientContext();
    if (!QXLToken::getCurrent().isAgent() && client.accessCheck(kRightManageNodePackages) != 0) {
        return failed(kPkgAccessDenied, std::string(kPackageMonitorName) + ": access denied");
    }
    try {
        synchronizeLocalPackages();
        return 0;
    } catch (const std::exception& failure) {
        return failed(kRawOperatorFailed, failure.what());
    }
}

}  // namespace

struct QXLRawRequestAgent::Impl {
    QXLEID eid;
    QXLAccess access;
    bool begun = false;
    std::string command;
    std::string target;
    pugi::xml_document body;  ///< no operator of this node reads one
};

QXLRawRequestAgent::QXLRawRequestAgent(const QXLEID& eid, QXLAccess access)
    : m_impl(std::make_unique<Impl>()) {
    m_impl->eid = eid;
    m_impl->access = std::move(access);
}

QXLRawRequestAgent::~QXLRawRequestAgent() = default;

QXLMessageIterator* QXLRawRequestAgent::beginCommand(const char* name, int /*flags*/,
                                                     const char* target) {
    // endCommand() must not send an earlier command that was begun but not sent.
    m_impl->begun = false;
    const QXLEID& eid = m_impl->eid;
    if (eid.isValid() && eid != QXLEID::EID_LOCAL && eid != QXLConfiguration::getLocalEID()) {
        setLastErrorData(kRawNoRoute,
                         "no agent with the EID " + eid.toString() + " can be reached");
        return nullptr;
    }
    if (name == nullptr || *name == '\0' || target == nullptr || *target == '\0') {
        setLastErrorData(kRawNotBegun, "a command needs a name and an operator");
        return nullptr;
    }
    m_impl->command = name;
    m_impl->target = target;
    m_impl->begun = true;
    m_impl->body.reset();
    return new XmlPlace(m_impl->body.append_child("body"));
}

int QXLRawRequestAgent::endCommand() {
    if (!m_impl->begun) {
        return failed(kRawNotBegun, "no command was begun");
    }
    m_impl->begun = false;
    if (m_impl->target == kPackageMonitorName) {
        return runPackageMonitor(m_impl->command);
    }
    return failed(kRawUnknownOperator, "unknown operator '" + m_impl->target + "'");
}

}  // namespace QXL
