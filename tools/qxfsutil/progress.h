// How far the check of an area has come.
#pragma once

#include <chrono>
#include <cstdint>

#include "src/area/check_area.h"
#include "tools/qxfsutil/options.h"

namespace qxfsutil {

/// Shows on standard error how far a check has come. With `options.completion` as a percentage of
/// the area's directories: in place on a terminal, else a line for each that is reached. Without it
/// as counts, on a terminal only.
class Progress {
public:
    Progress(const Options& options, const qxfs::Area& area);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    void show(const qxfs::CheckSummary& summary);

    /// Takes the line off the terminal.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    bool m_terminal;
    bool m_counts;
    std::uint64_t m_directories = 0;  ///< of the area; 0: no percentage is wanted
    std::uint64_t m_percent = 101;    ///< shown last
    Clock::time_point m_next = Clock::now();
    bool m_shown = false;
};

}  // namespace qxfsutil
