// Findings of an area check: everything that is said, asked and done about a fault stands in one
// table, from which text, JSON, exit status and the manual's list are made.
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
    error,    ///< a container sees something wrong, or does not see something
    warning,  ///< works, but is not as it was written
    note,     ///< worth knowing
};

/// How a repair is asked for.
enum class Question {
    none,     ///< cannot be repaired by this command
    approve,  ///< yes or no
    dispose,  ///< ignore, move to lost_files, or remove
};

struct FindingKind {
    FindingCode code;
    const char* name;  ///< in JSON and in the manual
    Severity severity;
    const char* text;  ///< what was found, said after the path
    Question question;
    const char* repair;  ///< what a repair does; "" when there is none
    bool preen;          ///< repaired without asking by -p
};

/// Every kind, in the order of FindingCode.
const std::vector<FindingKind>& findingKinds();
const FindingKind& kindOf(FindingCode code);
const char* severityName(Severity severity);

/// One fault at one place.
struct Finding {
    FindingCode code = FindingCode::directoryUnreadable;
    std::string path;          ///< inside the container, from "/"
    std::string templateFile;  ///< the template file concerned; empty when none is
    std::string detail;        ///< what exactly; empty when the text says it all
    bool repaired = false;
};

/// The finding as one line for people.
std::string describe(const Finding& finding);

}  // namespace qxfs
