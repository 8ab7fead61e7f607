// Running one engine command in its sandbox, with its lines kept for whom they concern.
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
    int code = 0;                    ///< as a shell counts it
    std::vector<std::string> lines;  ///< standard output, bounded
    std::deque<std::string> tail;    ///< last lines of both outputs, in the order they came

    [[nodiscard]] bool succeeded() const { return code == 0; }
};

class EngineRun {
public:
    /// @param output  hears the engine's lines as progress; borrowed.
    /// @param isNoise  called for each line of either output in the order they come; true for one
    ///                 that nobody should see.
    EngineRun(Confinement confinement, const Output& output,
              std::function<bool(const std::string& line)> isNoise = {})
        : m_confinement(std::move(confinement)), m_output(output), m_isNoise(std::move(isNoise)) {}

    /// Called for each other line.
    using OnLine = std::function<void(const std::string& line)>;

    /// Runs a command that changes something; people hear its lines as they come.
    /// @throws Failure when it cannot be started.
    [[nodiscard]] EngineResult run(const std::vector<std::string>& argv,
                                   const OnLine& onLine = {}) const;

    /// Runs a query: silent, and `lines` holds its whole answer.
    /// @throws Failure when it cannot be started or answers without end.
    [[nodiscard]] EngineResult query(const std::vector<std::string>& argv) const;

private:
    Confinement m_confinement;
    const Output& m_output;
    std::function<bool(const std::string& line)> m_isNoise;
};

/// What the engine said last, for the reason of a failure; its exit code when it said nothing.
std::string lastWords(const EngineResult& result);

/// @throws Failure when a step of building a cache failed.
void requireBuilt(const EngineResult& result, const qxnode::KrManifest& os, const Output& output);

/// Ends the command: the engine's own last lines as notices, unless people can read them already,
/// then the reason.
[[noreturn]] void failWith(const EngineResult& result, const std::string& what,
                           const Output& output);

}  // namespace qxpkg
