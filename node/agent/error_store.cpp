// The request's message and the last error data, per thread.
#include "node/agent/error_store.h"

#include <cstdio>
#include <utility>

#include "QXL/QXLError.h"
#include "node/agent/format_text.h"

namespace QXL {

namespace {

thread_local std::string requestMessage;
thread_local ErrorData lastErrorData;

}  // namespace

std::string formatText(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text;
    if (length < 0) {
        text = format;
    } else {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

void setErrorMessage(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    // The arguments may lie in the stored text, so it goes only when the new one stands.
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
