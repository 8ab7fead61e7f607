// Findings of an area check. One table has the texts, questions and repairs of every kind of
// finding; text, JSON, exit status and the manual's list are made from it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qxfs {

enum class FindingCode {
    rootMissing,
    templateMissing,
    templateUnreadable,
    mountLeftOut,
    directoryUnreadable,
    indexUnreadable,
    indexWrongType,
    indexDamaged,
    indexOfOther,
    indexTableWrong,
    indexLinkDamaged,
    entriesLost,
    checksumWrong,
    checksumAbsent,
    markMissing,
    indexMissing,
    temporaryLeft,
    temporaryPartial,
    linkLost,
    linkOutside,
    templateTypeChanged,
    templateInodeChanged,
    entryGone,
    entryTypeChanged,
    entryInodeChanged,
    entryDouble,
    entryNameBad,
    nameNotIndexed,
    linkLeft,
    entryShadowed,
    entryOtherLink,
    shortcutUnreadable,
    shortcutDamaged,
    shortcutLost,
    shortcutOutside,
    shortcutTypeChanged,
    attributesDiffer,
};

enum class Severity {
    error,    ///< a container sees something wrong, or does not see a file
    warning,  ///< it works, but is not as it was written
    note,     ///< only information
};

/// The question before a repair.
enum class Question {
    none,     ///< cannot be repaired by this command
    approve,  ///< yes or no
    dispose,  ///< ignore, move to lost_files, or remove
};

struct FindingKind {
    FindingCode code;
    const char* name;  ///< in JSON and in the manual
    Severity severity;
    const char* text;  ///< what was found; printed after the path
    Question question;
    const char* repair;  ///< what a repair does; "" if there is none
    bool preen;          ///< -p repairs it
};

/// Every kind, in the order of FindingCode.
const std::vector<FindingKind>& findingKinds();
const FindingKind& kindOf(FindingCode code);
const char* severityName(Severity severity);

/// One error or note about one path.
struct Finding {
    FindingCode code = FindingCode::directoryUnreadable;
    std::string path;          ///< inside the container, from "/"
    std::string templateFile;  ///< the template file concerned; may be empty
    std::string detail;        ///< details; may be empty
    bool repaired = false;
};

/// The finding as one line for people.
std::string describe(const Finding& finding);

}  // namespace qxfs
