// QXLRawRequestAgent: sends one raw command to an operator of an agent.
#pragma once

#include <memory>

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXL {

class QXLMessageIterator;

/// One object sends any number of commands, one after the other.
class QXL_API QXLRawRequestAgent {
public:
    /// @param eid     the environment whose agent is addressed; EID_INVALID is the local one.
    /// @param access  the request's provider; kept for the life of the object.
    QXLRawRequestAgent(const QXLEID& eid, QXLAccess access);
    QXLRawRequestAgent(const QXLRawRequestAgent&) = delete;
    QXLRawRequestAgent& operator=(const QXLRawRequestAgent&) = delete;
    ~QXLRawRequestAgent();

    /// Begins a command for the operator `target`; one that was begun and not sent is dropped.
    /// @param flags  the agent's own; 0.
    /// @return where the command's body is written; the caller deletes it, before endCommand().
    ///         Null when the command cannot be begun, with the reason in getLastErrorData().
    QXLMessageIterator* beginCommand(const char* name, int flags, const char* target);

    /// Sends the command and waits for its outcome, under the thread's current token.
    /// @return 0, or a status; getLastErrorData() then tells what the operator said. A command that
    ///         was not begun is a failure.
    int endCommand();

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXL
