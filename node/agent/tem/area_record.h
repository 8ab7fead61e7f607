// The record of the entries that a template put into a container's area; with it rm() undoes add().
//
// Records are files "$VE_PRIVATE/.qxtemplates/<name>@<version>", which the container cannot reach.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "QXA/QXATemplate.h"
#include "layout/paths.h"

namespace QXA::tem {

inline constexpr const char* kAreaStateName = qxnode::kAreaState;

/// One entry that a template put into a container's root. It has everything that is needed to make
/// the entry again and to see whether the container changed it, without the template.
struct AreaEntry {
    enum class Kind : char {
        directory = 'd',
        shortcut = 'f',  ///< sticky file whose content names the template's file
        link = 'l',      ///< copy of the template's symbolic link
    };

    Kind kind = Kind::directory;
    mode_t mode = 0;  ///< permission bits, with the sticky bit of a shortcut
    uid_t uid = 0;
    gid_t gid = 0;
    struct timespec mtime {};
    std::string text;    ///< a shortcut's content, a link's target
    unsigned saved = 0;  ///< number of the container's own file that it replaced; 0: none

    [[nodiscard]] struct stat attributes() const;
};

bool sameEntry(const AreaEntry& a, const AreaEntry& b);

struct AreaRecord {
    QXATemplate key;
    bool isOsTemplate = false;
    std::map<std::string, AreaEntry> entries;  ///< by path below the container's root
};

/// File name of a template's record.
std::string recordName(const QXATemplate& key);

/// Names may have any bytes: blanks, line ends and bytes above 126 are escaped.
std::string formatRecord(const AreaRecord& record);

/// @throws Failure if the text is not a record.
/// @param source  its name in messages.
AreaRecord parseRecord(std::string_view text, const std::string& source);

/// The records in a state directory, ordered by name. @throws Failure.
std::vector<AreaRecord> readRecords(int state);

/// One record. @throws Failure, also if it does not exist.
AreaRecord readRecord(int state, const std::string& name);

}  // namespace QXA::tem
