// Sends "synchronize_local" to the package monitor.
#include "qxa/plugins/QXAPkg/QXAPackagesCacheUpdate.h"

#include <memory>

#include "QXL/QXLError.h"
#include "QXL/QXLLog.h"
#include "QXL/QXLMessage.h"
#include "QXL/QXLRawRequestAgent.h"
#include "QXL/QXLToken.h"

namespace QXA {

namespace {

constexpr const char* kFunction = "requestPackagesCacheUpdate";
constexpr const char* kOperator = "qxapkgmonitor";
constexpr const char* kCommand = "synchronize_local";

}  // namespace

void requestPackagesCacheUpdate(QXL::QXLAccess transport, const QXL::QXLEID& eid) {
    if (transport == nullptr) {
        QXL::Log.put(QXL::kLogWarning, "[%s]: invalid _transport value.", kFunction);
        return;
    }
    const QXL::QXLTokenHolder agentIdentity(QXL::QXLToken::getAgentToken());
    QXL::QXLRawRequestAgent request(eid, transport);
    std::unique_ptr<QXL::QXLMessageIterator> body(request.beginCommand(kCommand, 0, kOperator));
    if (body == nullptr) {
        QXL::Log.put(QXL::kLogError, "[%s]: QXLRawRequestAgent::beginCommand failed.", kFunction);
        return;
    }
    // The command has no body; the iterator must be deleted before the command is sent.
    body.reset();
    const int status = request.endCommand();
    if (status == 0) {
        return;
    }
    const auto failure = QXL::getLastErrorData();
    if (failure.message.empty()) {
        QXL::Log.put(QXL::kLogError, "[%s]: QXLRawRequestAgent::endCommand failed with %d.",
                     kFunction, status);
    } else {
        QXL::Log.put(QXL::kLogError, "[%s]: qxapkgmonitor/synchronize_local failed with %d (%s).",
                     kFunction, failure.code, failure.message.c_str());
    }
}

}  // namespace QXA
