// Start times of processes from /proc; see process_id.h.
#include "node/agent/process_id.h"

#include <sstream>

#include "base/content.h"

namespace QXL {

std::string processBirth(pid_t pid) {
    constexpr std::size_t mostBytes = 4096;
    constexpr int startTimeField = 22;  // counted from 1, proc(5)
    constexpr int firstAfterName = 3;
    std::string ignored;
    const auto stat = base::readFile("/proc/" + std::to_string(pid) + "/stat", mostBytes, ignored);
    const auto boot = base::readFile("/proc/sys/kernel/random/boot_id", mostBytes, ignored);
    // The name in field 2 may contain blanks and parentheses; the last ")" ends it.
    const auto nameEnd = stat ? stat->rfind(')') : std::string::npos;
    if (!boot || nameEnd == std::string::npos) {
        return {};
    }
    std::istringstream fields(stat->substr(nameEnd + 1));
    std::string state;
    fields >> state;
    if (state == "Z" || state == "X") {
        return {};
    }
    std::string field;
    for (int number = firstAfterName; number < startTimeField; ++number) {
        fields >> field;
    }
    return fields ? boot->substr(0, boot->find('\n')) + " " + field : std::string();
}

}  // namespace QXL
