// Shows on a terminal that a request is still working, and for how long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace qxa {

/// Shows a line on standard error as long as the object exists: what is being done and, after one
/// second, for how long. The destructor removes the line. Other lines may be printed meanwhile.
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
