// Result lines are written whole, one call a line, so that a caller never reads half of one; see
// output.h.
#include "node/qxpkg/output.h"

#include <cstdio>

namespace qxpkg {

namespace {

void line(std::FILE* stream, const std::string& text) {
    const std::string whole = text + "\n";
    std::fwrite(whole.data(), 1, whole.size(), stream);
    std::fflush(stream);
}

}  // namespace

void Output::package(const std::string& name, const std::string& architecture,
                     const std::string& version) const {
    line(stdout, name + " " + architecture + " " + version);
}

void Output::osTemplate(const std::string& name) const {
    line(stdout, name + " template");
}

void Output::applicationTemplate(const std::string& osName, const std::string& name) const {
    line(stdout, osName + " " + name);
}

void Output::heading(const std::string& text) const {
    if (!m_quiet) {
        line(stdout, text + ":");
    }
}

void Output::step(const std::string& text) const {
    if (!m_quiet) {
        line(stderr, text);
    }
}

void Output::notice(const std::string& text) const {
    line(stderr, text);
}

}  // namespace qxpkg
