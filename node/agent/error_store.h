// What the agent's own code adds to QXL/QXLError.h: filling the last error data, and keeping the
// request's message over work that the request did not ask for.
#pragma once

#include <string>

namespace QXL {

/// Sets what getLastErrorData() gives on this thread.
void setLastErrorData(int code, const std::string& message);

/// Puts the request's message of this thread back when it goes.
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
