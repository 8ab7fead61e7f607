// See progress.h.
#include "tools/qxfsutil/progress.h"

#include <fts.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/escape.h"

namespace qxfsutil {

namespace {

std::uint64_t countDirectories(const std::string& root) {
    char* const paths[] = {const_cast<char*>(root.c_str()), nullptr};
    FTS* const tree = fts_open(paths, FTS_PHYSICAL | FTS_XDEV | FTS_NOSTAT | FTS_NOCHDIR, nullptr);
    std::uint64_t count = 0;
    if (tree != nullptr) {
        for (const FTSENT* entry = fts_read(tree); entry != nullptr; entry = fts_read(tree)) {
            count += entry->fts_info == FTS_D ? 1 : 0;
        }
        fts_close(tree);
    }
    return count;
}

}  // namespace

Progress::Progress(const Options& options, const qxfs::Area& area)
    : m_terminal(isatty(STDERR_FILENO) == 1),
      m_counts(m_terminal && !options.quiet && options.mode != qxfs::RepairMode::ask) {
    if (options.completion) {
        m_directories = countDirectories(area.root);
    }
}

void Progress::show(const qxfs::CheckSummary& summary) {
    constexpr auto kPause = std::chrono::milliseconds(200);
    const auto name = [&] { return base::printable(summary.area); };
    if (m_directories > 0) {
        const auto percent =
            std::min<std::uint64_t>(summary.directories * 100 / m_directories, 100);
        if (percent != m_percent) {
            m_percent = percent;
            m_shown = m_terminal;
            std::fprintf(stderr, m_terminal ? "\r%s: %3d%%" : "%s: %d%%\n", name().c_str(),
                         static_cast<int>(percent));
        }
    } else if (m_counts && Clock::now() >= m_next) {
        m_next = Clock::now() + kPause;
        m_shown = true;
        std::fprintf(stderr, "\r%s: %llu directories, %llu findings", name().c_str(),
                     static_cast<unsigned long long>(summary.directories),
                     static_cast<unsigned long long>(summary.findings));
    }
}

void Progress::clear() {
    if (m_shown) {
        std::fputs("\r\033[K", stderr);
        m_shown = false;
        m_percent = 101;
    }
}

}  // namespace qxfsutil
