// Texts for failed system calls: what was tried, on what, and the system's reason.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

namespace base {

/// "cannot WHAT 'SUBJECT': reason of errno". Reads errno before anything else.
inline std::string systemError(const std::string& what, const std::string& subject) {
    const int reason = errno;
    return "cannot " + what + " '" + subject + "': " + std::strerror(reason);
}

}  // namespace base
