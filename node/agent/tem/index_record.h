// What is remembered of the indexes of a container's area, beside its template records.
#pragma once

#include <map>
#include <set>
#include <string>

#include "node/agent/tem/area_record.h"

namespace QXA::tem {

/// What cannot be told from an index itself.
struct IndexRecord {
    /// Directories that had no index before the template manager gave them one; "" is the root.
    /// In ".qxtemplates/indexes".
    std::set<std::string> ours;
    /// Shortcuts that went into an index and had a time of their own, by path. In
    /// ".qxtemplates/shortcuts".
    std::map<std::string, AreaEntry> shortcuts;
};

/// Gives an empty one when there is none. @throws Failure.
IndexRecord readIndexRecord(int state);

/// Shortcuts whose path is too long for a record are left out. @throws Failure.
void writeIndexRecord(int state, const IndexRecord& record);

/// Directories from which indexes are taken for as long as a change is at work, and whether they
/// had one that is not ours, in ".qxtemplates/plain". While the file is there, indexes are to be
/// made again.
using PlainDirectories = std::map<std::string, bool>;

/// Gives nothing when no change is, or was, at work. @throws Failure.
PlainDirectories readPlainDirectories(int state);

/// @throws Failure.
void writePlainDirectories(int state, const PlainDirectories& directories);

/// @throws Failure.
void removePlainDirectories(int state);

}  // namespace QXA::tem
