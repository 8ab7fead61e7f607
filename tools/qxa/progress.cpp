// See progress.h.
#include "tools/qxa/progress.h"

#include <cstdio>
#include <utility>

namespace qxa {

namespace {

/// Moves to the start of the terminal's line and clears it.
constexpr const char* kAgain = "\r\033[K";

void show(const std::string& text) {
    std::fputs((kAgain + text).c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace

std::string progressLine(const std::string& text, std::chrono::seconds spent) {
    std::string line = "qxa: " + text + " ...";
    const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(spent);
    if (minutes.count() > 0) {
        line += " " + std::to_string(minutes.count()) + " min";
    }
    if (spent.count() > 0) {
        line += " " + std::to_string((spent - minutes).count()) + " s";
    }
    return line;
}

Progress::Progress(std::string text)
    : m_text(std::move(text)), m_begin(std::chrono::steady_clock::now()) {
    show(progressLine(m_text, std::chrono::seconds(0)));
    m_ticker = std::thread([this] { tick(); });
}

Progress::~Progress() {
    {
        const std::lock_guard guard(m_mutex);
        m_done = true;
    }
    m_ended.notify_all();
    m_ticker.join();
    show("");
}

void Progress::tick() {
    std::unique_lock lock(m_mutex);
    for (int seconds = 1;; ++seconds) {
        if (m_ended.wait_until(lock, m_begin + std::chrono::seconds(seconds),
                               [this] { return m_done; })) {
            return;
        }
        show(progressLine(m_text, std::chrono::seconds(seconds)));
    }
}

}  // namespace qxa
