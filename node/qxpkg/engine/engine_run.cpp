// See engine_run.h.
#include "node/qxpkg/engine/engine_run.h"

#include "base/subprocess.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

constexpr std::size_t kTailLines = 20;
constexpr std::size_t kMaxAnswerBytes = std::size_t{64} << 20;

bool isBlank(const std::string& line) {
    return line.find_first_not_of(" \t\r") == std::string::npos;
}

void keep(std::deque<std::string>& tail, const std::string& line) {
    if (isBlank(line)) {
        return;
    }
    tail.push_back(line);
    if (tail.size() > kTailLines) {
        tail.pop_front();
    }
}

void requireStart(const base::ProcessResult& process) {
    if (process.kind == base::ProcessResult::Kind::notStarted) {
        throw Failure(process.reason());
    }
}

}  // namespace

EngineResult EngineRun::run(const std::vector<std::string>& argv, const OnLine& onLine) const {
    EngineResult result;
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) {
        if (m_isNoise && m_isNoise(line)) {
            return;
        }
        keep(result.tail, line);
        if (!isBlank(line)) {
            m_output.progress(line);
        }
        if (onLine) {
            onLine(line);
        }
    };
    options.onErrorLine = options.onLine;
    const base::ProcessResult process =
        base::runProcess(confinedCommand(m_confinement, argv), options);
    requireStart(process);
    result.code = process.exitStatus();
    return result;
}

EngineResult EngineRun::query(const std::vector<std::string>& argv) const {
    EngineResult result;
    std::size_t bytes = 0;
    base::ProcessOptions options;
    options.onLine = [&](const std::string& line) {
        bytes += line.size() + 1;
        if (bytes <= kMaxAnswerBytes) {
            result.lines.push_back(line);
        }
        keep(result.tail, line);
    };
    options.onErrorLine = [&](const std::string& line) {
        if (!m_isNoise || !m_isNoise(line)) {
            keep(result.tail, line);
        }
    };
    const base::ProcessResult process =
        base::runProcess(confinedCommand(m_confinement, argv), options);
    requireStart(process);
    if (bytes > kMaxAnswerBytes) {
        throw Failure("'" + argv.front() + "' answers without end");
    }
    result.code = process.exitStatus();
    return result;
}

std::string lastWords(const EngineResult& result) {
    return result.tail.empty() ? "exit code " + std::to_string(result.code) : result.tail.back();
}

void requireBuilt(const EngineResult& result, const qxnode::KrManifest& os, const Output& output) {
    if (!result.succeeded()) {
        failWith(result, "cannot build the cache of '" + os.name + "': " + lastWords(result),
                 output);
    }
}

void failWith(const EngineResult& result, const std::string& what, const Output& output) {
    if (!output.keepsProgress()) {
        for (const std::string& line : result.tail) {
            output.notice(line);
        }
    }
    throw Failure(what);
}

}  // namespace qxpkg
