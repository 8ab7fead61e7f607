// Prints results and messages; see output.h. Each result line is written with one call, so that a
// caller never reads half a line.
#include "node/qxpkg/output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/escape.h"

namespace qxpkg {

namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr const char* kEmptyLine = "\r\033[K";

bool isTerminal() {
    return isatty(STDERR_FILENO) == 1;
}

std::size_t terminalWidth() {
    struct winsize size {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                           : kUsualWidth;
}

void put(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

/// Makes a text printable and fits it into the terminal's width. It comes from packages, so it must
/// not control the terminal, and a wrapped line could not be removed again.
std::string fitted(const std::string& line) {
    std::string text = base::printable(line);
    // A character of several bytes must not be cut.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c >= 0x7f; }, '?');
    return text.substr(0, terminalWidth() - 1);
}

}  // namespace

void Output::line(std::FILE* stream, const std::string& text) const {
    endProgress();
    put(stream, base::printable(text) + "\n");
}

void Output::progress(const std::string& text) const {
    if (keepsProgress()) {
        line(stderr, text);
    } else if (!m_quiet) {
        put(stderr, kEmptyLine + fitted(text));
    }
}

bool Output::keepsProgress() const {
    return !m_quiet && !isTerminal();
}

void Output::endProgress() const {
    if (!m_quiet && isTerminal()) {
        put(stderr, kEmptyLine);
    }
}

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
