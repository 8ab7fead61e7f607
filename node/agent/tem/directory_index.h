// The index of one directory of a container's area.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "src/index/scan.h"

namespace QXA::tem {

/// How a directory says what it is.
struct DirectoryMarks {
    bool marked = false;    ///< it has the bit that an indexed directory has
    bool hasIndex = false;  ///< an index file stands in it
};

/// @throws Failure. @param path  for messages, as everywhere here.
DirectoryMarks marksOf(int directory, const std::string& path);

/// Link texts of the template files that a directory's index stands for, each with the entry's name
/// as its last component.
/// @throws Failure for an index that cannot be read, is damaged, or holds a text that
///         leads out of the template area.
std::vector<std::string> textsOfIndex(int directory, const std::string& path);

struct WrittenIndex {
    enum class Result {
        written,
        notWanted,   ///< there is no reference to a template file in the directory
        impossible,  ///< `reason` says why; the directory is as before
    };
    Result result = Result::written;
    std::string reason;
    std::vector<dirindex::SuperfluousLink> superfluous;  ///< links that the index replaces
};

/// Writes the index of a directory that has none from what stands in it, names in order, so that
/// equal directories get equal indexes, and marks the directory. Nothing is flushed, and the links
/// stay.
/// @param withoutLinks  whether to write one for a directory without references, too.
/// @throws Failure, the directory being as before.
WrittenIndex writeIndex(int directory, const std::string& path, bool withoutLinks);

/// Removes a link that an index made superfluous, unless the container changed it meanwhile.
/// @throws Failure.
void removeSuperfluous(int directory, const std::string& path,
                       const dirindex::SuperfluousLink& link);

/// Takes a directory's mark and its index away. What the index stood for must be in place.
/// @throws Failure.
void removeIndex(int directory, const std::string& path);

}  // namespace QXA::tem
