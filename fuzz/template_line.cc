// A line that the KR tool prints for a template: at most one record comes of it, whose names are
// words of the line behind a dot.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "QXA/QXAPackageQXTemplate.h"
#include "qxa/plugins/QXAPkg/QXAPkgExec.h"

namespace {

void require(bool holds) {
    if (!holds) {
        abort();
    }
}

bool isDottedWordOf(const std::string& line, const std::string& name) {
    return name.starts_with('.') && name.find_first_of(" \t") == std::string::npos &&
           (line.find(name) != std::string::npos || line.find(name.substr(1)) != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The tool's lines end at their first null byte.
    const std::string line = std::string(reinterpret_cast<const char*>(data), size).c_str();
    QXL::QXLPackageList out;
    require(QXA::parseTemplateLine(out, line.c_str()));
    require(out.size() <= 1);
    if (out.empty()) {
        return 0;
    }
    const auto* record = dynamic_cast<const QXA::QXAPackageQXTemplate*>(out.front().get());
    require(record != nullptr && isDottedWordOf(line, record->name));
    require(record->os.platform == "Linux");
    require(record->isOsTemplate != record->os.osName.has_value());
    require(record->isOsTemplate || isDottedWordOf(line, *record->os.osName));
    return 0;
}
