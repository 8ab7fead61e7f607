// The text form of an event, which is sent between processes as one datagram.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "QXA/QXAEventListener.h"

namespace QXA {

/// The longest event; longer datagrams are ignored.
inline constexpr std::size_t kMaxEventBytes = 512;

/// "KIND NUMBER TIME".
std::string eventText(const QXAEvent& event);

/// nullopt if the text is not an event.
std::optional<QXAEvent> parseEvent(std::string_view text);

}  // namespace QXA
