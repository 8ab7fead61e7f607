// The request's message and the last error data, per thread.
#include "node/agent/error_store.h"

#include <utility>

#include "QXL/QXLError.h"
#include "node/agent/format_text.h"

namespace QXL {

namespace {

thread_local std::string requestMessage;
thread_local ErrorData lastErrorData;

}  // namespace

void setErrorMessage(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    // The arguments may point into the stored text, so format first and replace it afterwards.
    std::string text = formatText(format, arguments);
    va_end(arguments);
    requestMessage = std::move(text);
}

const char* getErrorMessage() {
    return requestMessage.c_str();
}

void clearErrorMessage() {
    requestMessage.clear();
}

ErrorData getLastErrorData() {
    return lastErrorData;
}

void setLastErrorData(int code, const std::string& message) {
    lastErrorData = {code, message};
}

ErrorMessageKeeper::ErrorMessageKeeper() : m_message(requestMessage) {}

ErrorMessageKeeper::~ErrorMessageKeeper() {
    requestMessage = std::move(m_message);
}

}  // namespace QXL
