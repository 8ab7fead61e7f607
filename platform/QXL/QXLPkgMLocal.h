// QXLPkgMLocal: base of package managers that work on the agent's own node.
#pragma once

#include <vector>

#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLPkgM.h"

namespace QXL {

class QXL_API QXLPkgMLocal : public virtual QXLPkgM {
public:
    /// Keeps the provider of the request that the object serves; it may be null.
    explicit QXLPkgMLocal(QXLAccess access);
    ~QXLPkgMLocal() override;

    [[nodiscard]] QXLAccess access() const { return m_access; }

    /// Not served on one node: -1.
    int migrate(const QXLEID& eid, const QXLPackageList& pkgs,
                const QXLPackageManagerOptions& opts) override;

    /// Runs a program and hands each line of its standard output to a callback.
    /// @param argv    the command line; word 0 is the program, found on PATH. One pointer a word,
    /// no
    ///                terminating null; the texts are borrowed for the call.
    /// @param onLine  called with `ctx` and each line without its line end, a last line without one
    ///                included. Its answer does not stop the program.
    /// @param ctx     handed to `onLine`; not looked at.
    /// @return the exit code as it is; 127 when the program cannot be started; 128 + N when signal
    /// N
    ///         killed it. When not 0, getErrorMessage() holds the reason: the last non-empty line
    ///         of the program's standard error, else "exited with code N".
    /// The program gets no standard input.
    static int exec(const std::vector<const char*>& argv,
                    bool (*onLine)(void* ctx, const char* line), void* ctx);

private:
    QXLAccess m_access;
};

}  // namespace QXL
