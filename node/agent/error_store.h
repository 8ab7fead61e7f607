// Parts of QXL/QXLError.h for the agent's own code: set the last error data, and keep the request's
// message during other work.
#pragma once

#include <string>

namespace QXL {

/// Sets what getLastErrorData() gives on this thread.
void setLastErrorData(int code, const std::string& message);

/// Its destructor restores this thread's message as it was at the construction.
class ErrorMessageKeeper {
public:
    ErrorMessageKeeper();
    ~ErrorMessageKeeper();
    ErrorMessageKeeper(const ErrorMessageKeeper&) = delete;
    ErrorMessageKeeper& operator=(const ErrorMessageKeeper&) = delete;

private:
    std::string m_message;
};

}  // namespace QXL
