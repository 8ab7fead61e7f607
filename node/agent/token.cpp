// The token that is current on a thread.
#include "QXL/QXLToken.h"

#include <utility>

namespace QXL {

namespace {

thread_local QXLToken current;

}  // namespace

QXLToken QXLToken::getAgentToken() {
    return QXLToken(true);
}

QXLToken QXLToken::getCurrent() {
    return current;
}

QXLToken QXLToken::setCurrent(const QXLToken& token) {
    return std::exchange(current, token);
}

}  // namespace QXL
