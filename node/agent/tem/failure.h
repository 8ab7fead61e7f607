// How the template manager's parts report failure: one exception, turned into a result code and the
// request's message at the entry points of QXATEMLocal and nowhere else.
#pragma once

#include <stdexcept>
#include <string>

#include "base/system_error.h"

namespace QXA::tem {

/// Result for failures that have no code of their own.
inline constexpr int kTemFailed = -1;

class Failure : public std::runtime_error {
public:
    Failure(int code, const std::string& message) : std::runtime_error(message), m_code(code) {}

    /// One of QXA::TemResult, or kTemFailed.
    [[nodiscard]] int code() const { return m_code; }

private:
    int m_code;
};

/// "cannot WHAT 'SUBJECT': reason of errno". Reads errno first.
inline Failure systemFailure(const std::string& what, const std::string& subject) {
    return {kTemFailed, base::systemError(what, subject)};
}

}  // namespace QXA::tem
