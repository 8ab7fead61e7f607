// QXAJournal: the agent's record of the requests that it served.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QXL/Export.h"

namespace QXA {

/// One request. Texts of packages are "name version" or, in refused requests, what was asked for.
struct QXAJournalEntry {
    std::int64_t id = 0;                ///< rising; given by the journal
    std::string time;                   ///< local time of the end, as 2026-11-20T20:00:00+0000
    std::string user;                   ///< who asked
    std::string operation;              ///< "install", "remove", ...
    std::string target;                 ///< "node" or the container's number
    std::vector<std::string> packages;  ///< what was asked for
    std::vector<std::string> before;    ///< templates (and packages named) of the target before
    std::vector<std::string> after;     ///< the same afterwards
    int result = 0;
    std::string message;  ///< of a failed request
};

/// The journal of this node. Any number of processes may write and read it at once; an entry is on
/// the device when a call returns. Failures leave their reason in getErrorMessage().
class QXL_API QXAJournal {
public:
    /// Writes the intent of a request before it acts. @return its id (greater than 0), or -1.
    static std::int64_t begin(const QXAJournalEntry& entry);

    /// Completes the entry with this id, all fields but `id` and `time` taken from `entry`. An
    /// entry that was begun and never ended is one that was interrupted; it reads back with the
    /// result kInterrupted. @return 0, or -1, also when there is no such entry or it was ended
    /// before.
    static int end(std::int64_t id, const QXAJournalEntry& entry);

    /// Appends the newest `limit` entries (0: all), oldest first. @return 0 or -1; `out` is then as
    /// before.
    static int read(std::vector<QXAJournalEntry>& out, std::size_t limit);

    /// Result of an entry whose process ended without ending it; its time is that of the beginning.
    static constexpr int kInterrupted = -130;

    /// Result of an entry that was begun and whose process is still at work; its time is that of
    /// the beginning.
    static constexpr int kRunning = -131;
};

}  // namespace QXA
