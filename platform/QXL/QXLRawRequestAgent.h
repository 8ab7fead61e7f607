// QXLRawRequestAgent: sends raw commands to the operators (named services) of an agent.
#pragma once

#include <memory>

#include "QXL/Export.h"
#include "QXL/QXLAccessProvider.h"
#include "QXL/QXLEID.h"

namespace QXL {

class QXLMessageIterator;

/// One object can send any number of commands, one after the other.
class QXL_API QXLRawRequestAgent {
public:
    /// @param eid     the environment whose agent gets the commands; EID_INVALID: the local agent.
    /// @param access  the request's provider; kept as long as the object exists.
    QXLRawRequestAgent(const QXLEID& eid, QXLAccess access);
    QXLRawRequestAgent(const QXLRawRequestAgent&) = delete;
    QXLRawRequestAgent& operator=(const QXLRawRequestAgent&) = delete;
    ~QXLRawRequestAgent();

    /// Begins the command `name` for the operator `target`. A command that was begun but not sent
    /// is dropped.
    /// @param flags  for the agent; 0.
    /// @return a place to write the command's body to; the caller deletes it before endCommand().
    ///         Null if the command cannot be begun; getLastErrorData() then has the reason.
    QXLMessageIterator* beginCommand(const char* name, int flags, const char* target);

    /// Sends the command with the thread's current token and waits for the answer.
    /// @return 0; otherwise a status, and getLastErrorData() has the operator's code and text. It
    ///         fails, too, if no command was begun.
    int endCommand();

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace QXL
