// QXAJournal: the agent's record of the requests that it served.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QXL/Export.h"

namespace QXA {

/// One request. A package is written as "name version", or as the user named it.
struct QXAJournalEntry {
    std::int64_t id = 0;                ///< set by the journal; later entries have larger numbers
    std::string time;                   ///< local time of the end: 2026-11-20T20:00:00+0000
    std::string user;                   ///< who asked
    std::string operation;              ///< "install", "remove", ...
    std::string target;                 ///< "node" or the container's number
    std::vector<std::string> packages;  ///< what the request named
    std::vector<std::string> before;    ///< the target's templates (and named packages) before it
    std::vector<std::string> after;     ///< the same afterwards
    int result = 0;                     ///< of QXLPkgM, or kInterrupted or kRunning
    std::string message;                ///< why it failed
};

/// The journal of this node. Any number of processes may read and write it at the same time; when a
/// call returns, its entry is on disk. After a failure the reason is in getErrorMessage().
class QXL_API QXAJournal {
public:
    /// Records a request before it changes anything. @return its id (greater than 0), or -1.
    static std::int64_t begin(const QXAJournalEntry& entry);

    /// Completes the entry `id` with the fields of `entry`, except `id` and `time`. @return 0, or
    /// -1, also if there is no such entry or it was completed before.
    static int end(std::int64_t id, const QXAJournalEntry& entry);

    /// Appends the newest `limit` entries (0: all), oldest first. @return 0, or -1: `out` is then
    /// unchanged.
    static int read(std::vector<QXAJournalEntry>& out, std::size_t limit);

    /// Result of an entry that its process never completed; its time is when the request began.
    static constexpr int kInterrupted = -130;

    /// Result of an entry whose process is still working; its time is when the request began.
    static constexpr int kRunning = -131;
};

}  // namespace QXA
