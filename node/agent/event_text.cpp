// Text of events; see event_text.h.
#include "node/agent/event_text.h"

#include <algorithm>
#include <charconv>

namespace QXA {

namespace {

bool isWord(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

}  // namespace

std::string eventText(const QXAEvent& event) {
    return event.kind + " " + std::to_string(event.veid) + " " + event.time;
}

std::optional<QXAEvent> parseEvent(std::string_view text) {
    const auto first = text.find(' ');
    const auto second = first == std::string_view::npos ? first : text.find(' ', first + 1);
    if (second == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view kind = text.substr(0, first);
    const std::string_view number = text.substr(first + 1, second - first - 1);
    const std::string_view time = text.substr(second + 1);
    QXAEvent event{std::string(kind), 0, std::string(time)};
    const char* const end = number.data() + number.size();
    const auto [stop, failure] = std::from_chars(number.data(), end, event.veid);
    if (!isWord(kind) || !isWord(time) || failure != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return event;
}

}  // namespace QXA
