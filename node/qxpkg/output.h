// Output of qxpkg: result lines on standard output, which callers parse, and messages for people on
// standard error.
#pragma once

#include <cstdio>
#include <string>

namespace qxpkg {

class Output {
public:
    explicit Output(bool quiet) : m_quiet(quiet) {}

    /// A package that was installed, updated or removed: "NAME ARCHITECTURE VERSION".
    void package(const std::string& name, const std::string& architecture,
                 const std::string& version) const;

    /// A template: "OS template".
    void osTemplate(const std::string& name) const;
    /// A template: "OS APPLICATION".
    void applicationTemplate(const std::string& osName, const std::string& name) const;

    /// A heading over package lines, without its ":"; not with -q.
    void heading(const std::string& text) const;

    /// Says on standard error that a step begins or is done; not with -q.
    void step(const std::string& text) const;

    /// A line of a working engine, on standard error; not with -q. On a terminal each line replaces
    /// the one before.
    void progress(const std::string& text) const;

    /// True without -q if standard error is not a terminal: progress lines stay visible, so a
    /// failure need not repeat them.
    [[nodiscard]] bool keepsProgress() const;

    /// Removes the progress line from the terminal.
    void endProgress() const;

    /// Prints on standard error what the caller must see even with -q: an engine's own lines, or
    /// who holds a lock.
    void notice(const std::string& text) const;

    [[nodiscard]] bool quiet() const { return m_quiet; }

private:
    void line(std::FILE* stream, const std::string& text) const;

    bool m_quiet;
};

}  // namespace qxpkg
