// The table of findings.
#include "src/area/finding.h"

#include <cassert>

#include "src/index/index_text.h"

namespace qxfs {

const std::vector<FindingKind>& findingKinds() {
    using enum FindingCode;
    using enum Severity;
    using enum Question;
    static const std::vector<FindingKind> kinds{
        {rootMissing, "root-missing", error, "the private area has no root directory", none, "",
         false},
        {templateMissing, "template-missing", error,
         "a template that the area uses does not exist at all", none, "", false},
        {templateUnreadable, "template-unreadable", error, "a template file cannot be examined",
         none, "", false},
        {mountLeftOut, "mount-left-out", note,
         "another file system is mounted here; it was left out", none, "", false},
        {directoryUnreadable, "directory-unreadable", error, "the directory cannot be read", none,
         "", false},
        {indexUnreadable, "index-unreadable", error, "the directory index cannot be read", none, "",
         false},
        {indexWrongType, "index-wrong-type", error,
         "something that is not an index is in the place of the directory index", approve,
         "move it to lost_files and write an index of the files that are there", false},
        {indexDamaged, "index-damaged", error, "the directory index is damaged", approve,
         "rebuild it from what can still be read and from the files in place", false},
        {indexOfOther, "index-of-other", error, "the directory index is that of another directory",
         approve, "rebuild the index for this directory", false},
        {indexTableWrong, "index-table-wrong", error,
         "the hash table or the header of the directory index does not agree with its entries",
         approve, "write the index again with its entries", false},
        {indexLinkDamaged, "index-link-damaged", error,
         "a link string of the directory index has a changed bit", approve, "correct the bit",
         false},
        {entriesLost, "entries-lost", error,
         "entries of the directory index could not be read any more", none, "", false},
        {checksumWrong, "checksum-wrong", error,
         "the checksum of the directory index does not match", approve,
         "write the index again with a correct checksum", false},
        {checksumAbsent, "checksum-absent", note,
         "the directory index was written without a checksum", approve,
         "write the index again with a correct checksum", true},
        {markMissing, "mark-missing", error,
         "the directory has an index but is not marked as indexed", approve,
         "mark the directory (set-user-ID bit)", true},
        {indexMissing, "index-missing", warning,
         "the directory is marked as indexed but has no index", approve,
         "remove the mark (set-user-ID bit)", false},
        {temporaryLeft, "temporary-left", warning, "left over from an interrupted run", approve,
         "remove the temporary file", true},
        {temporaryPartial, "temporary-partial", warning,
         "a file looks like an unfinished copy of a link that an interrupted run left", dispose,
         "move the file to lost_files, or remove it", false},
        {linkLost, "link-lost", error, "the template file of an index entry is missing", approve,
         "give the entry the name of the template file that has its inode, or drop it", false},
        {linkOutside, "link-outside", error, "an index entry leads out of the template area",
         approve, "drop the entry from the index", false},
        {templateTypeChanged, "template-type-changed", error,
         "the template file of an index entry is of another type", approve,
         "write the template file's type into the index", false},
        {templateInodeChanged, "template-inode-changed", warning,
         "the inode tag of an index entry is not that of its template file", approve,
         "correct the inode tag", true},
        {entryGone, "entry-gone", error, "an index entry names a file that does not exist", approve,
         "drop the entry from the index", false},
        {entryTypeChanged, "entry-type-changed", error,
         "a file is of another type than its index entry says", approve, "correct the entry's type",
         true},
        {entryInodeChanged, "entry-inode-changed", warning,
         "the inode tag of an index entry is not that of its file", approve,
         "correct the inode tag", true},
        {entryDouble, "entry-double", error, "a name is in the index more than once", approve,
         "keep the first valid entry", false},
        {entryNameBad, "entry-name-bad", error, "an index entry has a name that no file can have",
         approve, "drop the entry from the index", false},
        {nameNotIndexed, "name-not-indexed", error, "a file is missing from the directory index",
         approve, "add it to the index", true},
        {linkLeft, "link-left", warning,
         "a link to a template file is in the directory although the index describes it", approve,
         "remove the link", true},
        {entryShadowed, "entry-shadowed", error,
         "a file is in the place of a template file that the index describes", dispose,
         "move the file to lost_files, or remove it", false},
        {entryOtherLink, "entry-other-link", error,
         "a link leads to another template file than its index entry", dispose,
         "move the link to lost_files, or remove it", false},
        {shortcutUnreadable, "shortcut-unreadable", error, "the link cannot be read", none, "",
         false},
        {shortcutDamaged, "shortcut-damaged", error, "a link has a changed bit", approve,
         "correct the bit", false},
        {shortcutLost, "shortcut-lost", error, "the template file of a link is missing", dispose,
         "move the link to lost_files, or remove it", false},
        {shortcutOutside, "shortcut-outside", error, "a link leads out of the template area",
         dispose, "move the link to lost_files, or remove it", false},
        {shortcutTypeChanged, "shortcut-type-changed", error,
         "the template file of a link is of another type", dispose,
         "move the link to lost_files, or remove it", false},
        {attributesDiffer, "attributes-differ", note,
         "owner, group or permissions differ from those of the template file", approve,
         "set those of the template file", false},
    };
    return kinds;
}

const FindingKind& kindOf(FindingCode code) {
    const auto& kind = findingKinds()[static_cast<std::size_t>(code)];
    assert(kind.code == code);
    return kind;
}

const char* severityName(Severity severity) {
    switch (severity) {
        case Severity::error:
            return "error";
        case Severity::warning:
            return "warning";
        case Severity::note:
            return "note";
    }
    return "";
}

std::string describe(const Finding& finding) {
    const auto& kind = kindOf(finding.code);
    // A file name may contain anything, also line ends and terminal control characters.
    std::string line = dirindex::escaped(finding.path) + ": " + kind.text;
    if (!finding.detail.empty()) {
        line += " (" + finding.detail + ")";
    }
    if (!finding.templateFile.empty()) {
        line += " [template " + dirindex::escaped(finding.templateFile) + "]";
    }
    return line;
}

}  // namespace qxfs
