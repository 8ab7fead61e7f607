// Reads first lines; see record_heading.h.
#include "node/template/record_heading.h"

#include <istream>

#include "node/support/failure.h"

namespace QXA::tem {

using qxnode::Failure;

void takeHeading(std::istream& lines, const std::string& heading, const std::string& source) {
    std::string line;
    if (std::getline(lines, line) && line == heading) {
        return;
    }
    const std::size_t version = heading.rfind(' ') + 1;
    const bool newer = line.starts_with(heading.substr(0, version)) && line.size() > version &&
                       line.size() < version + 10 &&
                       line.find_first_not_of("0123456789", version) == std::string::npos;
    throw Failure(source + (newer ? ": '" + line + "' is of a newer version of this program"
                                  : ": bad line 1"));
}

}  // namespace QXA::tem
