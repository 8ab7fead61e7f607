// QXLToken: the identity that a thread shows to the agent.
#pragma once

#include "QXL/Export.h"

namespace QXL {

/// A value. Requests to the agent's operators carry the current token of their thread.
class QXL_API QXLToken {
public:
    /// The token of the process's user. On the reference node every client is that user.
    QXLToken() = default;

    /// The agent's own token, for requests that the agent makes to itself.
    static QXLToken getAgentToken();

    /// The token that is current on this thread.
    static QXLToken getCurrent();

    /// Makes `token` current on this thread. @return the token that was current before.
    static QXLToken setCurrent(const QXLToken& token);

    /// True for the agent's own token.
    [[nodiscard]] bool isAgent() const { return m_agent; }

    friend bool operator==(const QXLToken&, const QXLToken&) = default;

private:
    explicit QXLToken(bool agent) : m_agent(agent) {}

    bool m_agent = false;
};

/// Makes a token current on this thread; the destructor restores the previous one.
class QXLTokenHolder {
public:
    /// @param token  current from now on.
    explicit QXLTokenHolder(const QXLToken& token) : m_previous(QXLToken::setCurrent(token)) {}
    QXLTokenHolder(const QXLTokenHolder&) = delete;
    QXLTokenHolder& operator=(const QXLTokenHolder&) = delete;
    ~QXLTokenHolder() { QXLToken::setCurrent(m_previous); }

private:
    QXLToken m_previous;
};

}  // namespace QXL
