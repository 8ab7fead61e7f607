// QXLPkgMLocal: base of package managers that work on the agent's own node.
#pragma once

#include <vector>

#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLPkgM.h"

namespace QXL {

/// What local package managers share: the request's provider and a way to run tools.
class QXL_API QXLPkgMLocal : public virtual QXLPkgM {
public:
    /// @param access  the provider of the request that the object serves; may be null.
    explicit QXLPkgMLocal(QXLAccess access);
    ~QXLPkgMLocal() override;

    /// The request's provider; may be null.
    [[nodiscard]] QXLAccess access() const { return m_access; }

    /// A single node cannot do this: returns -1, without a message.
    int migrate(const QXLEID& eid, const QXLPackageList& pkgs,
                const QXLPackageManagerOptions& opts) override;

    /// Runs a program, without a shell and without standard input, and waits for its end.
    /// @param argv    the command line, one pointer per word, without a terminating null; word 0 is
    ///                the program, searched on PATH. The texts are only read during the call.
    /// @param onLine  called on this thread with `ctx` and each line of standard output, without
    ///                its line end; may be null. Its result does not stop the program.
    /// @param ctx     passed to `onLine`.
    /// @return the program's exit code; 127 if it cannot be started; 128 + N if signal N killed it.
    ///         If not 0, getErrorMessage() holds the reason (the last non-empty line of its
    ///         standard error, else "exited with code N"), and getLastErrorData() the reason and
    ///         the code.
    static int exec(const std::vector<const char*>& argv,
                    bool (*onLine)(void* ctx, const char* line), void* ctx);

private:
    QXLAccess m_access;
};

}  // namespace QXL
