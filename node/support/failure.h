// Failure: what ends an operation of the node. Its entry points turn it into a result and a
// message, and nobody else does.
#pragma once

#include <stdexcept>
#include <string>

#include "base/system_error.h"

namespace qxnode {

class Failure : public std::runtime_error {
public:
    /// Code of a failure that has none of its own.
    static constexpr int kNoCode = -1;

    explicit Failure(const std::string& reason) : std::runtime_error(reason) {}

    /// @param code  one that the caller's interface has for this: a QXA::TemResult, a QXTT_E_*, or
    ///              an exit code.
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
