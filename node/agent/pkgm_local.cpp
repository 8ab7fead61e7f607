// QXLPkgMLocal: the base of local package managers, and their command runner.
#include "QXL/QXLPkgMLocal.h"

#include <utility>

#include "QXL/QXLError.h"
#include "QXL/QXLResult.h"
#include "node/agent/error_store.h"
#include "node/support/subprocess.h"

namespace QXL {

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
    qxnode::ProcessOptions options;
    if (onLine != nullptr) {
        options.onLine = [&](const std::string& line) { onLine(ctx, line.c_str()); };
    }
    const qxnode::ProcessResult result = qxnode::runProcess(words, options);
    const int code = result.exitStatus();
    if (code != 0) {
        const std::string reason = result.reason();
        setErrorMessage("%s", reason.c_str());
        setLastErrorData(code, reason);
    }
    return code;
}

}  // namespace QXL
