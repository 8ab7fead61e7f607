// Turns failures of the template manager's parts into result codes and messages.
#pragma once

#include <exception>

#include "QXL/QXLError.h"
#include "QXL/QXLLockPolicy.h"
#include "node/agent/error_store.h"
#include "node/agent/tem/writer_lock.h"
#include "node/support/failure.h"

namespace QXA::tem {

/// Runs the work of an entry point. @return 0, or the failure's code; the request's message is set.
template <class Operation>
int guarded(Operation operation) {
    try {
        operation();
        return 0;
    } catch (const LockTimeout& timeout) {
        QXL::setErrorMessage("%s", timeout.what());
        QXL::setLastErrorData(QXL::kErrorLockTimeout, timeout.what());
        return timeout.code();
    } catch (const qxnode::Failure& failure) {
        QXL::setErrorMessage("%s", failure.what());
        return failure.code();
    } catch (const std::exception& failure) {
        // Usually out of memory; a request must not end the agent.
        QXL::setErrorMessage("%s", failure.what());
        return qxnode::Failure::kNoCode;
    }
}

}  // namespace QXA::tem
