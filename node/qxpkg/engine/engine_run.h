// Runs one engine command in its sandbox and keeps its output.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "node/kr/manifest.h"
#include "node/qxpkg/engine/confinement.h"
#include "node/qxpkg/engine/package.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

struct EngineResult {
    int code = 0;                    ///< exit code as in a shell
    std::vector<std::string> lines;  ///< standard output, limited
    std::deque<std::string> tail;    ///< last lines of both outputs, in their order

    [[nodiscard]] bool succeeded() const { return code == 0; }
};

class EngineRun {
public:
    /// @param output   shows the engine's lines as progress; must outlive this object.
    /// @param isNoise  called for each line of both outputs, in their order; true if the line must
    ///                 not be shown.
    EngineRun(Confinement confinement, const Output& output,
              std::function<bool(const std::string& line)> isNoise = {})
        : m_confinement(std::move(confinement)), m_output(output), m_isNoise(std::move(isNoise)) {}

    /// Called for each other line.
    using OnLine = std::function<void(const std::string& line)>;

    /// Runs a command that changes something and shows its lines as progress.
    /// @throws Failure if it cannot be started.
    [[nodiscard]] EngineResult run(const std::vector<std::string>& argv,
                                   const OnLine& onLine = {}) const;

    /// Runs a query without showing its output; `lines` has its whole answer.
    /// @throws Failure if it cannot be started or its answer exceeds the limit.
    [[nodiscard]] EngineResult query(const std::vector<std::string>& argv) const;

private:
    Confinement m_confinement;
    const Output& m_output;
    std::function<bool(const std::string& line)> m_isNoise;
};

/// The reason of a failure: the engine's last line, or its exit code if it printed nothing.
std::string lastWords(const EngineResult& result);

/// @throws Failure when a step of building a cache failed.
void requireBuilt(const EngineResult& result, const qxnode::KrManifest& os, const Output& output);

/// Throws the failure of a command; first prints the engine's last lines as notices, unless they
/// are still visible as progress.
[[noreturn]] void failWith(const EngineResult& result, const std::string& what,
                           const Output& output);

}  // namespace qxpkg
