// The request's message and the last platform failure: two stores, both per thread.
#pragma once

#include <string>

#include "QXL/Export.h"

namespace QXL {

/// Sets the message of the request that this thread serves; printf-style, of any length. Arguments
/// may point into the message that is replaced. Pass names, paths and other text from outside as
/// arguments, never as the format.
QXL_API void setErrorMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The request's message, "" if none was set. The text is valid until the next setErrorMessage or
/// clearErrorMessage on this thread.
QXL_API const char* getErrorMessage();

/// Empties the message. The agent does so before each request.
QXL_API void clearErrorMessage();

/// Why a platform call failed.
struct ErrorData {
    int code = 0;         ///< the code of the part that failed
    std::string message;  ///< may be empty
};

/// The last failure of a platform call on this thread (code 0 before the first one). It is stored
/// separately: it never replaces the request's message, and the message never replaces it.
QXL_API ErrorData getLastErrorData();

}  // namespace QXL
