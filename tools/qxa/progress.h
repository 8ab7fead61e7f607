// Tells who sits at a terminal that a request is still at work, and for how long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace qxa {

/// While it lives, a line on standard error that says what is being done and, from its first second
/// on, how long that takes; the line is gone when it ends. Other lines may come in between.
class Progress {
public:
    /// @param text  "install on 102".
    explicit Progress(std::string text);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void tick();

    std::string m_text;
    std::chrono::steady_clock::time_point m_begin;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_done = false;
    std::thread m_ticker;
};

/// "qxa: install on 102 ... 1 min 5 s", without the time in the first second.
std::string progressLine(const std::string& text, std::chrono::seconds spent);

}  // namespace qxa
