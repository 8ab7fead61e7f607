// A line that the KR tool prints for a package: at most one record comes of it, whose texts are
// words of the line.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qxa/plugins/QXAPkg/QXAPkgExec.h"

namespace {

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

bool isWordOf(const std::string& line, const std::string& word) {
    return word.find_first_of(" \t") == std::string::npos && line.find(word) != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The tool's lines end at their first null byte.
    const std::string line = std::string(reinterpret_cast<const char*>(data), size).c_str();
    QXL::QXLPackageList out;
    require(QXA::parsePackageLine(out, line.c_str()));
    require(out.size() <= 1);
    if (out.empty()) {
        const auto colon = line.find(':');
        const bool heading = colon != std::string::npos && colon + 1 == line.size();
        require(heading || line.find_first_not_of(" \t") == std::string::npos);
        return 0;
    }
    const auto& record = *out.front();
    require(!record.name.empty() && isWordOf(line, record.name));
    require(isWordOf(line, record.version));
    require(record.os.platform == "Linux" && !record.os.osName);
    return 0;
}
