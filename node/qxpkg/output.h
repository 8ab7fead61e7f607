// The two voices of qxpkg: result lines on standard output, which callers parse, and talk for
// people on standard error.
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

    /// A heading over package lines, without its ":"; said only to people.
    void heading(const std::string& text) const;

    /// A step that begins or was done, on standard error; not with -q.
    void step(const std::string& text) const;

    /// A line of an engine at work, on standard error; not with -q. A terminal shows one at a time,
    /// in place, until anything else is said.
    void progress(const std::string& text) const;

    /// Whether progress stays to be read, so that nobody has to be told it again.
    [[nodiscard]] bool keepsProgress() const;

    /// Takes a line of progress off the terminal.
    void endProgress() const;

    /// Something that the caller must see even with -q, on standard error: an engine's own lines,
    /// or for whom a lock is waited.
    void notice(const std::string& text) const;

    [[nodiscard]] bool quiet() const { return m_quiet; }

private:
    void line(std::FILE* stream, const std::string& text) const;

    bool m_quiet;
};

}  // namespace qxpkg
