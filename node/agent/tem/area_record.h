// What a template put into a container's area: the entries by which rm() undoes what add() did.
//
// Records stand in "$VE_PRIVATE/.qxtemplates/<name>@<version>", beside the container's files and
// out of the container's reach.
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

/// One entry that a template put into a container's root. It describes itself, so that it can be
/// made again, or told from one that the container changed, without the template.
struct AreaEntry {
    enum class Kind : char {
        directory = 'd',
        shortcut = 'f',  ///< sticky file whose content names the template's file
        link = 'l',      ///< copy of the template's symbolic link
    };

    Kind kind = Kind::directory;
    mode_t mode = 0;  ///< permission bits, with those that the representation adds
    uid_t uid = 0;
    gid_t gid = 0;
    struct timespec mtime {};
    std::string text;    ///< a shortcut's content, a link's target
    unsigned saved = 0;  ///< number of the container's own file that it stands for; 0: none

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

/// Any byte that a file name may hold survives: blanks, line ends and bytes above 126 are escaped.
std::string formatRecord(const AreaRecord& record);

/// @throws Failure when the text is no record.
/// @param source  what to call it in messages.
AreaRecord parseRecord(std::string_view text, const std::string& source);

/// Records of a state directory, in the order of names. @throws Failure.
std::vector<AreaRecord> readRecords(int state);

/// One record. @throws Failure, also when it is not there.
AreaRecord readRecord(int state, const std::string& name);

}  // namespace QXA::tem
