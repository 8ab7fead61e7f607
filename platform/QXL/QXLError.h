// The request's message and the last platform failure: two stores, both per thread.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXL {

/// Sets the message of the request that this thread serves, printf-style and without a length
/// limit. Arguments may point into the text that is replaced. Names, paths and other text from
/// outside are arguments, never the format.
QXL_API void setErrorMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The request's message, "" when none was set. Borrowed: valid until the next setErrorMessage or
/// clearErrorMessage on this thread.
QXL_API const char* getErrorMessage();

/// The agent clears the message before each request.
QXL_API void clearErrorMessage();

/// What the last failing platform call on this thread left behind.
struct ErrorData {
    int code = 0;         ///< the failing side's own code
    std::string message;  ///< may be empty
};

/// The last platform failure of this thread. It is a store apart: it never replaces the request's
/// message, nor the other way round.
QXL_API ErrorData getLastErrorData();

}  // namespace QXL
