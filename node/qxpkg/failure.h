// Exit codes of qxpkg, and the exception that carries one with its reason.
#pragma once

#include <stdexcept>
#include <string>

namespace qxpkg {

enum ExitCode {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kRefused = 27,        ///< already installed, in conflict, or in use
    kNotKrTemplate = 33,  ///< a file is no KR template package
    kLockNotHad = 75,     ///< see QXL/QXLLockPolicy.h
    kInterrupted = 130,
};

/// Ends a command: `what()` is the reason for people, `code()` the process's exit code.
class Failure : public std::runtime_error {
public:
    Failure(int code, const std::string& reason) : std::runtime_error(reason), m_code(code) {}
    [[nodiscard]] int code() const { return m_code; }

private:
    int m_code;
};

}  // namespace qxpkg
