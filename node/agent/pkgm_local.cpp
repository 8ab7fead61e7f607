// QXLPkgMLocal: the base of local package managers, and their command runner.
#include "QXL/QXLPkgMLocal.h"

#include <sstream>
#include <utility>

#include "QXL/QXLError.h"
#include "QXL/QXLLog.h"
#include "QXL/QXLResult.h"
#include "base/subprocess.h"
#include "node/agent/error_store.h"
#include "node/agent/lock_wait.h"

namespace QXL {

namespace {

/// The node's tools begin a line with this if they wait for a lock.
constexpr const char* kWaiting = "waiting for '";

/// Logs all lines that a tool and its engine wrote to standard error; the message has only one.
void logFailure(const std::string& program, const std::string& errorTail) {
    std::istringstream lines(errorTail);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) {
            Log.put(kLogError, "%s: %s", program.c_str(), line.c_str());
        }
    }
}

}  // namespace

QXLPkgMLocal::QXLPkgMLocal(QXLAccess access) : m_access(std::move(access)) {}

QXLPkgMLocal::~QXLPkgMLocal() = default;

int QXLPkgMLocal::migrate(const QXLEID& /*eid*/, const QXLPackageList& /*pkgs*/,
                          const QXLPackageManagerOptions& /*opts*/) {
    return kPkgFailed;
}

int QXLPkgMLocal::exec(const std::vector<const char*>& argv,
                       bool (*onLine)(void* ctx, const char* line), void* ctx) {
    std::vector<std::string> words;
    words.reserve(argv.size());
    for (const char* word : argv) {
        words.emplace_back(word == nullptr ? "" : word);
    }
    base::ProcessOptions options;
    if (onLine != nullptr) {
        options.onLine = [&](const std::string& line) { onLine(ctx, line.c_str()); };
    }
    options.onErrorLine = [](const std::string& line) {
        if (line.starts_with(kWaiting)) {
            tellLockWait(line);
        }
    };
    const base::ProcessResult result = base::runProcess(words, options);
    const int code = result.exitStatus();
    if (code != 0) {
        const std::string reason = result.reason();
        logFailure(words.empty() ? "" : words.front(), result.errorTail);
        setErrorMessage("%s", reason.c_str());
        setLastErrorData(code, reason);
    }
    return code;
}

}  // namespace QXL
