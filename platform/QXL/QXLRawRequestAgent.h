// QXLRawRequestAgent: sends one raw command to an operator of an agent.
#pragma once

#include <memory>

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXL {

class QXLMessageIterator;

class QXL_API QXLRawRequestAgent {
public:
    /// @param eid     the environment whose agent is addressed; EID_INVALID is the local one.
    /// @param access  the request's provider; kept for the life of the object.
    QXLRawRequestAgent(const QXLEID& eid, QXLAccess access);
    QXLRawRequestAgent(const QXLRawRequestAgent&) = delete;
    QXLRawRequestAgent& operator=(const QXLRawRequestAgent&) = delete;
    ~QXLRawRequestAgent();

    /// Begins a command for the operator `target`.
    /// @return where the command's body is written; the caller deletes it, before endCommand().
    ///         Null when the command cannot be begun.
    QXLMessageIterator* beginCommand(const char* name, int flags, const char* target);

    /// Sends the command and waits for its outcome, under the thread's current token.
    /// @return 0, or a status; getLastErrorData() then tells what the operator said.
    int endCommand();

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXL
