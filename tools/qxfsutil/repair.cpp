// Repairs of one directory, in an order that loses nothing when it is cut short:
//   1. decide about every finding;
//   2. remove what an interrupted run left, move damaged items aside;
//   3. write the new index beside the old one, check it, and rename it over;
//   4. remove links that the new index describes;
//   5. set the directory's mark and the attributes of links.
// Every change is written to the undo record, and that to the device, before it is made.
#include "tools/qxfsutil/repair.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "src/qxfsutil.h"
#include "tools/qxfsutil/confined.h"

namespace qxfsutil {

namespace {

constexpr int kAnswerIgnore = 1;
constexpr int kAnswerMove = 2;
constexpr int kAnswerRemove = 3;
constexpr int kAnswerYes = 3;

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

/// Findings whose repair is a change of the directory's index.
bool isIndexFinding(FindingCode code) {
    using enum FindingCode;
    switch (code) {
        case checksumWrong:
        case checksumAbsent:
        case indexDamaged:
        case linkLost:
        case templateTypeChanged:
        case templateInodeChanged:
        case entryGone:
        case entryTypeChanged:
        case entryInodeChanged:
        case entryDouble:
        case entryNameBad:
        case nameNotIndexed:
            return true;
        default:
            return false;
    }
}

Disposal askFor(const Finding& finding) {
    const auto& kind = kindOf(finding.code);
    const auto question = describe(finding) + "\n  " + kind.repair + " ";
    if (kind.question == Question::approve) {
        return ask_approve(question.c_str(), kAnswerYes) == kAnswerYes ? Disposal::repair
                                                                       : Disposal::leave;
    }
    switch (ask_proc(question.c_str(), kAnswerMove)) {
        case kAnswerMove:
            return Disposal::moveAside;
        case kAnswerRemove:
            return Disposal::remove;
        case kAnswerIgnore:
        default:
            return Disposal::leave;
    }
}

}  // namespace

Disposal decide(RepairMode mode, const Finding& finding) {
    const auto& kind = kindOf(finding.code);
    if (kind.question == Question::none || mode == RepairMode::report) {
        return Disposal::leave;
    }
    if (mode == RepairMode::ask) {
        return askFor(finding);
    }
    if (mode == RepairMode::preen && !kind.preen) {
        return Disposal::leave;
    }
    return kind.question == Question::dispose ? Disposal::moveAside : Disposal::repair;
}

std::vector<std::string> DirectoryRepair::run(RepairMode mode) {
    std::vector<std::pair<DirectoryFinding*, Disposal>> later;
    if (m_check.index.has_value()) {
        m_dropped.assign(m_check.index->entries.size(), false);
        m_entries = m_check.index->entries;
    }
    for (auto& found : m_check.findings) {
        const auto disposal = decide(mode, found.finding);
        if (disposal == Disposal::leave) {
            continue;
        }
        if (found.finding.code == FindingCode::temporaryLeft) {
            // Its place is wanted for the new index.
            removeItem(found);
        } else if (disposal == Disposal::moveAside || disposal == Disposal::remove) {
            disposal == Disposal::moveAside ? moveAside(found) : removeItem(found);
        } else if (isIndexFinding(found.finding.code)) {
            planEntry(found, disposal);
        } else {
            later.emplace_back(&found, disposal);
        }
    }
    writeIndex();
    for (const auto& [found, disposal] : later) {
        repairItem(*found, disposal);
    }
    return std::move(m_failures);
}

void DirectoryRepair::planEntry(DirectoryFinding& found, Disposal /*disposal*/) {
    using enum FindingCode;
    m_rewrite = true;
    m_byIndex.push_back(&found);
    const auto place = found.entry;
    const auto* item = m_check.listing.find(found.name);
    switch (found.finding.code) {
        case indexDamaged:
            rebuildIndex();
            break;
        case linkLost:
            recoverOrDrop(place);
            break;
        case entryGone:
        case entryDouble:
        case entryNameBad:
            m_dropped[place] = true;
            break;
        case templateTypeChanged:
        case templateInodeChanged: {
            auto& entry = m_entries[place];
            const auto state = lookUpTemplate(m_area, *entry.link + "/" + entry.name);
            entry.type = qxfs::entry_type(state.info.st_mode);
            entry.ino = templateTag(state.info);
            break;
        }
        case entryTypeChanged:
        case entryInodeChanged: {
            auto& entry = m_entries[place];
            struct stat info {};
            const auto path = m_area.absolute(m_check.path) + "/" + entry.name;
            if (lstat(path.c_str(), &info) == 0) {
                entry.type = qxfs::entry_type(info.st_mode);
                entry.ino = ownTag(info);
            }
            break;
        }
        case nameNotIndexed:
            if (const auto entry = item == nullptr ? entryOfDots(found.name) : entryOf(*item)) {
                m_entries.push_back(*entry);
                m_dropped.push_back(false);
            }
            break;
        default:
            break;
    }
}

/// A damaged name is found again by the inode tag, which is that of the template file.
void DirectoryRepair::recoverOrDrop(std::size_t place) {
    auto& entry = m_entries[place];
    m_dropped[place] = true;
    std::error_code failure;
    for (const auto& candidate :
         std::filesystem::directory_iterator(m_area.templateFile(*entry.link), failure)) {
        const auto name = candidate.path().filename().string();
        const auto state = lookUpTemplate(m_area, *entry.link + "/" + name);
        const bool taken = std::any_of(m_entries.begin(), m_entries.end(),
                                       [&](const IndexEntry& other) { return other.name == name; });
        if (state.exists && templateTag(state.info) == entry.ino && !taken &&
            m_check.listing.find(name) == nullptr) {
            entry.name = name;
            entry.type = qxfs::entry_type(state.info.st_mode);
            m_dropped[place] = false;
            return;
        }
    }
}

std::optional<IndexEntry> DirectoryRepair::entryOf(const DirectoryItem& item) const {
    if (item.failure != 0) {
        return std::nullopt;
    }
    IndexEntry entry;
    entry.name = item.name;
    entry.type = qxfs::entry_type(item.info.st_mode);
    entry.ino = ownTag(item.info);
    const auto slash = item.link.rfind('/');
    // Only a link whose template file has the same name can be found again through an index.
    if (!item.isLink() || !m_area.looksAtTemplates() || slash < 3 ||
        item.link.substr(slash + 1) != item.name) {
        return entry;
    }
    const auto state = lookUpTemplate(m_area, item.link);
    if (state.exists) {
        entry.type = qxfs::entry_type(state.info.st_mode);
        entry.ino = templateTag(state.info);
        entry.link = item.link.substr(0, slash);
    }
    return entry;
}

/// The directory itself or the one above it, which no listing holds.
std::optional<IndexEntry> DirectoryRepair::entryOfDots(const std::string& dots) const {
    DirectoryItem item;
    item.name = dots;
    const auto path = m_area.absolute(m_check.path) + "/" + dots;
    return lstat(path.c_str(), &item.info) == 0 ? entryOf(item) : std::nullopt;
}

void DirectoryRepair::rebuildIndex() {
    m_entries.clear();
    for (const char* dots : {".", ".."}) {
        if (const auto entry = entryOfDots(dots)) {
            m_entries.push_back(*entry);
        }
    }
    for (const auto& item : m_check.listing.items) {
        const bool system =
            item.name == kIndexName || item.name == kPackageRefName || item.name == kNewIndexName;
        if (const auto entry = system ? std::nullopt : entryOf(item)) {
            m_entries.push_back(*entry);
        }
    }
    std::string bytes;
    if (!readFile(m_area.absolute(joined(m_check.path, kIndexName)), kMaxRecordedContent, bytes)) {
        fail("read", joined(m_check.path, kIndexName));
    }
    for (auto& entry : salvageEntries(bytes)) {
        const auto state = m_area.looksAtTemplates()
                               ? lookUpTemplate(m_area, *entry.link + "/" + entry.name)
                               : TemplateState{};
        const bool known =
            std::any_of(m_entries.begin(), m_entries.end(),
                        [&](const IndexEntry& other) { return other.name == entry.name; });
        if (state.exists && !known) {
            entry.type = qxfs::entry_type(state.info.st_mode);
            entry.ino = templateTag(state.info);
            m_entries.push_back(std::move(entry));
        }
    }
    m_dropped.assign(m_entries.size(), false);
}

void DirectoryRepair::writeIndex() {
    if (!m_rewrite) {
        return;
    }
    std::vector<IndexEntry> kept;
    for (std::size_t place = 0; place < m_entries.size(); ++place) {
        if (!m_dropped[place]) {
            kept.push_back(m_entries[place]);
        }
    }
    const auto directory = m_area.absolute(m_check.path);
    std::string error;
    if (!record(directory + "/" + kIndexName, true)) {
        return;
    }
    if (!replaceIndex(directory, kept, error)) {
        m_failures.push_back(error);
        return;
    }
    for (auto* found : m_byIndex) {
        found->finding.repaired = true;
    }
}

void DirectoryRepair::repairItem(DirectoryFinding& found, Disposal /*disposal*/) {
    using enum FindingCode;
    switch (found.finding.code) {
        case markMissing:
            setMark(found, true);
            break;
        case indexMissing:
            setMark(found, false);
            break;
        case linkLeft:
            removeItem(found);
            break;
        case attributesDiffer:
            setAttributes(found);
            break;
        default:
            break;
    }
}

void DirectoryRepair::dropEntriesOf(const std::string& name) {
    if (!m_check.index.has_value() || !m_check.index->sound) {
        return;
    }
    // The name is gone from the directory; the index must not show it any more, unless it shows a
    // template file that stands behind the item.
    for (std::size_t place = 0; place < m_entries.size(); ++place) {
        const auto& entry = m_entries[place];
        const bool behind = entry.link.has_value() && m_area.looksAtTemplates() &&
                            lookUpTemplate(m_area, *entry.link + "/" + entry.name).exists;
        if (entry.name == name && !behind) {
            m_dropped[place] = true;
            m_rewrite = true;
        }
    }
}

void DirectoryRepair::removeItem(DirectoryFinding& found) {
    const auto path = m_area.absolute(joined(m_check.path, found.name));
    const auto* item = m_check.listing.find(found.name);
    if (item != nullptr &&
        (item->isDirectory() || !(S_ISREG(item->info.st_mode) || item->isSymlink()))) {
        // What a record cannot bring back is moved aside instead.
        moveAside(found);
        return;
    }
    if (!record(path, true)) {
        return;
    }
    if (unlink(path.c_str()) != 0) {
        fail("remove", path);
        return;
    }
    found.finding.repaired = true;
    dropEntriesOf(found.name);
}

void DirectoryRepair::moveAside(DirectoryFinding& found) {
    const auto inside = joined(m_check.path, found.name).substr(1);
    UndoStep step;
    step.kind = UndoStep::Kind::move;
    step.path = m_area.absolute("/" + inside);
    const auto subdir = m_area.root.substr(m_area.privateDir.size());
    const auto lost = m_area.privateDir + "/lost_files";
    step.movedTo = lost + subdir + "/" + inside;
    struct stat info {};
    if (lstat(step.movedTo.c_str(), &info) == 0) {
        m_failures.push_back("'" + step.movedTo + "' is there already");
        return;
    }
    for (auto slash = lost.size(); slash != std::string::npos;
         slash = step.movedTo.find('/', slash + 1)) {
        const auto prefix = step.movedTo.substr(0, slash);
        if (lstat(prefix.c_str(), &info) != 0) {
            step.madeDirectories.push_back(prefix);
        }
    }
    // Making lost_files changes the private area's own times.
    UndoStep area;
    area.path = m_area.privateDir;
    if (!readState(area.path, false, area.state) || !readState(step.path, false, step.state) ||
        !readState(directoryOf(step.path), false, step.parent) || !m_undo.add(area) ||
        !m_undo.add(step)) {
        fail("record the state of", step.path);
        return;
    }
    priv_dir = m_area.privateDir.c_str();
    if (subdir.empty() || move_item_to_lost(inside.c_str(), subdir.substr(1).c_str()) != 0) {
        fail("move aside", step.path);
        return;
    }
    found.finding.repaired = true;
    dropEntriesOf(found.name);
}

void DirectoryRepair::setMark(DirectoryFinding& found, bool marked) {
    const auto path = m_area.absolute(m_check.path);
    if (!record(path, false)) {
        return;
    }
    const auto bits = m_check.listing.info.st_mode & 07777;
    if (chmod(path.c_str(), marked ? bits | S_ISUID : bits & ~static_cast<mode_t>(S_ISUID)) != 0) {
        fail("change the mode of", path);
        return;
    }
    found.finding.repaired = true;
}

void DirectoryRepair::setAttributes(DirectoryFinding& found) {
    const auto* item = m_check.listing.find(found.name);
    const auto path = m_area.absolute(joined(m_check.path, found.name));
    auto state = lookUpTemplate(m_area, item->link);
    if (!state.exists || !record(path, true)) {
        return;
    }
    if (!item->isSymlink()) {
        state.info.st_mode |= S_ISVTX;
    }
    state.info.st_atim = item->info.st_atim;
    state.info.st_mtim = item->info.st_mtim;
    if (set_attr(path.c_str(), &state.info) != 0) {
        fail("set the attributes of", path);
        return;
    }
    found.finding.repaired = true;
}

bool DirectoryRepair::record(const std::string& path, bool withContent) {
    UndoStep step;
    step.path = path;
    if (readState(path, withContent, step.state) &&
        readState(directoryOf(path), false, step.parent) && m_undo.add(step)) {
        return true;
    }
    fail("record the state of", path);
    return false;
}

void DirectoryRepair::fail(const std::string& what, const std::string& path) {
    m_failures.push_back("can't " + what + " '" + path + "': " + std::strerror(errno));
}

bool restoreLost(const Area& area, const std::string& inside, std::string& error) {
    const auto relative = inside.starts_with('/') ? inside : "/" + inside;
    if ((relative + "/").find("/../") != std::string::npos) {
        error = "'" + inside + "' leads out of the area";
        return false;
    }
    const auto subdir = area.root.substr(area.privateDir.size());
    const auto lost = area.privateDir + "/lost_files" + subdir + relative;
    const auto place = area.absolute(relative);
    const qxfs::FileDescriptor top(open(area.privateDir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const auto to = placeBelow(top.get(), area.privateDir, place);
    struct stat info {};
    if (to.directory.valid() &&
        fstatat(to.directory.get(), to.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        error = "'" + place + "' is there again; remove or move it first";
        return false;
    }
    const auto from = to.directory.valid() ? placeBelow(top.get(), area.privateDir, lost) : Place();
    if (!from.directory.valid() ||
        renameat2(from.directory.get(), from.name.c_str(), to.directory.get(), to.name.c_str(),
                  RENAME_NOREPLACE) != 0) {
        error = "can't move '" + lost + "' back: " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace qxfsutil
