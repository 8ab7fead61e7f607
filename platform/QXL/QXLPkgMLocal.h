// QXLPkgMLocal: base of package managers that work on the agent's own node.
#pragma once

#include <vector>

#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLPkgM.h"

namespace QXL {

/// What local package managers share: the request's provider, and running tools.
class QXL_API QXLPkgMLocal : public virtual QXLPkgM {
public:
    /// Keeps the provider of the request that the object serves; it may be null.
    explicit QXLPkgMLocal(QXLAccess access);
    ~QXLPkgMLocal() override;

    /// The request's provider.
    [[nodiscard]] QXLAccess access() const { return m_access; }

    /// Not served on one node: -1.
    int migrate(const QXLEID& eid, const QXLPackageList& pkgs,
                const QXLPackageManagerOptions& opts) override;

    /// Runs a program and hands each line of its standard output to a callback. The program gets no
    /// standard input.
    /// @param argv    the command line, one pointer a word, no terminating null; word 0 is the
    ///                program, found on PATH. The texts are borrowed for the call.
    /// @param onLine  called with `ctx` and each line without its line end, a last line without one
    ///                included; may be null. Its answer does not stop the program.
    /// @param ctx     handed to `onLine`; not looked at.
    /// @return the exit code as it is; 127 when the program cannot be started; 128 + N when signal
    ///         N killed it. When not 0, getErrorMessage() holds the reason (the last
    ///         line of the program's standard error that is not empty, else "exited with code N"),
    ///         getLastErrorData() that and the code.
    static int exec(const std::vector<const char*>& argv,
                    bool (*onLine)(void* ctx, const char* line), void* ctx);

private:
    QXLAccess m_access;
};

}  // namespace QXL
