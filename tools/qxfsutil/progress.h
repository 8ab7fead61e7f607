// Progress of the check of an area.
#pragma once

#include <chrono>
#include <cstdint>

#include "src/area/check_area.h"
#include "tools/qxfsutil/options.h"

namespace qxfsutil {

/// Shows the progress of a check on standard error. With `options.completion` as a percentage of
/// the area's directories: on a terminal in one place, else one line per percent. Without it as
/// numbers, only on a terminal.
class Progress {
public:
    Progress(const Options& options, const qxfs::Area& area);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    void show(const qxfs::CheckSummary& summary);

    /// Removes the line from the terminal.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    bool m_terminal;
    bool m_counts;
    std::uint64_t m_directories = 0;  ///< of the area; 0: show no percentage
    std::uint64_t m_percent = 101;    ///< the last one shown
    Clock::time_point m_next = Clock::now();
    bool m_shown = false;
};

}  // namespace qxfsutil
