// The checks of one directory, in this order:
//   1. the directory itself: readable, its mark and its index file agree, nothing left over; 2. the
//   index as a file: its structure, and that it belongs to this directory; 3. every link in the
//   directory: its template file exists, with the same type and attributes; 4. every entry of the
//   index: compared with its template file, or with the file in the directory; 5. every name in the
//   directory: it is in the index; 6. the index as readers use it: checksum, header and hash table.
// An error is reported once, where it is found first.
#include "src/area/check_directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/open_below.h"
#include "src/area/check_context.h"
#include "src/index/scan.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

void checkMark(CheckContext& context) {
    auto& check = context.check;
    const auto* item = check.listing.find(dirindex::kIndexName);
    const bool marked = check.listing.isMarked();
    const bool regular = item != nullptr && S_ISREG(item->info.st_mode);
    if (item == nullptr && marked) {
        context.add(FindingCode::indexMissing, "");
    }
    if (item != nullptr && !marked && (regular || (item->isSymlink() && item->isLink()))) {
        context.add(FindingCode::markMissing, "");
    }
    if (check.listing.find(dirindex::kNewIndexName) != nullptr) {
        context.add(FindingCode::temporaryLeft, dirindex::kNewIndexName);
    }
    if (regular) {
        check.index = dirindex::readIndexFile(context.directory, dirindex::kIndexName);
        if (!check.index->readable) {
            context.add(FindingCode::indexUnreadable, "", {}, check.index->reason);
        } else if (!check.index->sound) {
            context.add(FindingCode::indexDamaged, "", {}, check.index->reason);
        }
    }
}

/// Why a directory could not be opened, as a finding.
DirectoryFinding unopened(const Area& area, const std::string& path, int failure) {
    DirectoryFinding found;
    found.finding.path = path;
    const bool gone = failure == ENOENT || failure == ENOTDIR || failure == ELOOP;
    if (failure == EXDEV) {
        found.finding.code = FindingCode::mountLeftOut;
    } else if (path == "/" && area.isPrivate() && gone) {
        found.finding.code = FindingCode::rootMissing;
        found.finding.detail = failure == ENOENT ? "" : "something else stands in its place";
    } else {
        found.finding.code = FindingCode::directoryUnreadable;
        found.finding.detail = std::strerror(failure);
    }
    return found;
}

}  // namespace

DirectoryFinding& CheckContext::add(FindingCode code, const std::string& name,
                                    const std::string& templateFile, const std::string& detail,
                                    std::size_t entry) {
    DirectoryFinding found;
    found.finding.code = code;
    found.finding.path = name.empty() ? check.path : joined(check.path, name);
    found.finding.templateFile = templateFile;
    found.finding.detail = detail;
    found.name = name;
    found.entry = entry;
    if (const auto* item = check.listing.find(name)) {
        m_faulty[placeOf(*item)] = true;
    }
    return check.findings.emplace_back(std::move(found));
}

void CheckContext::addMissing(const std::string& name, const DirectoryItem* item) {
    if (item != nullptr) {
        m_faulty[placeOf(*item)] = true;
    }
    if (m_missing.insert(name).second) {
        add(FindingCode::templateMissing, "", area.templateRoot + "/" + name,
            "template " + dirindex::escaped(name) + " is not below " + area.templateRoot)
            .finding.path = "/";
    }
}

bool CheckContext::isMounted(const DirectoryItem& item) {
    if (base::openOnSameMount(directory, item.name, O_PATH | O_NOFOLLOW) || errno != EXDEV) {
        return false;
    }
    if (!item.isDirectory() && !isFaulty(item)) {
        add(FindingCode::mountLeftOut, item.name);
    }
    m_faulty[placeOf(item)] = true;
    return true;
}

bool mustStay(int directory, const DirectoryItem& item, const struct stat& templateInfo) {
    if (item.info.st_nlink > 1 || compare_stat(&item.info, &templateInfo) != 0) {
        return true;
    }
    const auto file =
        item.isSymlink() ? base::Fd() : base::openSuspect(directory, item.name.c_str(), O_RDONLY);
    return file && dirindex::hasUserFlags(file.get());
}

std::uint32_t ownTag(const struct stat& info) {
    return static_cast<std::uint32_t>(info.st_ino) * 2U;
}

std::uint32_t templateTag(const struct stat& info) {
    return ownTag(info) + 1U;
}

DirectoryCheck checkDirectory(const Area& area, const std::string& path,
                              TemplateLookup& templates) {
    DirectoryCheck check;
    check.path = path;
    const auto directory = openDirectory(area, path);
    const int failure = directory ? readDirectory(directory.get(), check.listing) : errno;
    if (failure != 0) {
        check.findings.push_back(unopened(area, path, failure));
    } else {
        CheckContext context(area, check, directory.get(), templates);
        checkMark(context);
        checkItems(context);
        if (check.index.has_value() && check.index->sound) {
            checkIndex(context);
        }
    }
    return check;
}

DirectoryCheck checkDirectory(const Area& area, const std::string& path) {
    TemplateLookup templates(area);
    return checkDirectory(area, path, templates);
}

}  // namespace qxfs
