// Failure: what ends a query, with the code that its caller gets.
#pragma once

#include <stdexcept>
#include <string>

namespace qxtt {

/// `code` is one of the QXTT_E_* of qxtt.h; what() is the reason.
class Failure : public std::runtime_error {
public:
    Failure(int code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}

    [[nodiscard]] int code() const { return m_code; }

private:
    int m_code;
};

}  // namespace qxtt
