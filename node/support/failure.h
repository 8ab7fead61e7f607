// The exception for failures in the node. Only entry points turn it into a result and a message.
#pragma once

#include <stdexcept>
#include <string>

#include "base/system_error.h"

namespace qxnode {

class Failure : public std::runtime_error {
public:
    /// The code of all other failures.
    static constexpr int kNoCode = -1;

    explicit Failure(const std::string& reason) : std::runtime_error(reason) {}

    /// @param code  of the caller's interface: a QXA::TemResult, a QXTT_E_*, or an exit code.
    Failure(int code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}

    [[nodiscard]] int code() const { return m_code; }

private:
    int m_code = kNoCode;
};

/// "cannot WHAT 'SUBJECT': reason of errno". Reads errno first.
inline Failure systemFailure(const std::string& what, const std::string& subject) {
    return Failure(base::systemError(what, subject));
}

}  // namespace qxnode
