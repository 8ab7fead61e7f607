// How an event travels between processes: one datagram of text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "QXA/QXAEventListener.h"

namespace QXA {

/// Longest datagram; longer ones are no events.
inline constexpr std::size_t kMaxEventBytes = 512;

/// "KIND NUMBER TIME".
std::string eventText(const QXAEvent& event);

/// nullopt for text that is no event.
std::optional<QXAEvent> parseEvent(std::string_view text);

}  // namespace QXA
