// Repairs of one directory, in an order that loses nothing when it is cut short:
//   1. decide about every finding;
//   2. remove what an interrupted run left, move damaged items aside;
//   3. write the new index beside the old one, check it, and rename it over;
//   4. remove links that the new index describes;
//   5. set the directory's mark and the attributes of links.
// Every change is written to the undo record, and that to the device, before it is made.
#include "src/area/repair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "base/content.h"
#include "src/area/confined.h"
#include "src/area/lost_files.h"
#include "src/qxfsutil.h"

namespace qxfs {

namespace {

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

}  // namespace

Disposal RepairPolicy::decide(const Finding& finding) const {
    const auto& kind = kindOf(finding.code);
    if (kind.question == Question::none || mode == RepairMode::report) {
        return Disposal::leave;
    }
    if (mode == RepairMode::ask) {
        return ask ? ask(finding) : Disposal::leave;
    }
    if (mode == RepairMode::preen && !kind.preen) {
        return Disposal::leave;
    }
    return kind.question == Question::dispose ? Disposal::moveAside : Disposal::repair;
}

std::vector<std::string> DirectoryRepair::run(const RepairPolicy& policy) {
    const auto decisions = decideAll(policy);
    if (decisions.empty()) {
        return {};
    }
    m_directory = openDirectory(m_area, m_check.path);
    if (!m_directory) {
        fail("open", ".");
        return std::move(m_failures);
    }
    const WorkingDirectory here(m_directory.get());
    if (here.entered()) {
        repairAll(decisions);
    } else {
        fail("work in", ".");
    }
    return std::move(m_failures);
}

std::vector<DirectoryRepair::Decision> DirectoryRepair::decideAll(const RepairPolicy& policy) {
    std::vector<Decision> decisions;
    for (auto& found : m_check.findings) {
        const auto disposal = policy.decide(found.finding);
        if (disposal != Disposal::leave) {
            decisions.push_back({&found, disposal});
        }
    }
    return decisions;
}

void DirectoryRepair::repairAll(const std::vector<Decision>& decisions) {
    if (m_check.index.has_value()) {
        m_dropped.assign(m_check.index->entries.size(), false);
        m_entries = m_check.index->entries;
    }
    std::vector<DirectoryFinding*> later;
    for (const auto& [found, disposal] : decisions) {
        // The place of a left-over is wanted for the new index.
        if (disposal == Disposal::remove || found->finding.code == FindingCode::temporaryLeft) {
            removeItem(*found);
        } else if (disposal == Disposal::moveAside) {
            moveAside(*found);
        } else if (isIndexFinding(found->finding.code)) {
            planEntry(*found);
        } else {
            later.push_back(found);
        }
    }
    writeIndex();
    for (auto* found : later) {
        repairItem(*found);
    }
}

void DirectoryRepair::planEntry(DirectoryFinding& found) {
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
        case templateInodeChanged:
            takeTemplateState(m_entries[place]);
            break;
        case entryTypeChanged:
        case entryInodeChanged:
            takeOwnState(m_entries[place]);
            break;
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

void DirectoryRepair::takeTemplateState(dirindex::IndexEntry& entry) {
    const auto state = lookUpTemplate(m_area, *entry.link + "/" + entry.name);
    entry.type = qxfs::entry_type(state.info.st_mode);
    entry.ino = templateTag(state.info);
}

void DirectoryRepair::takeOwnState(dirindex::IndexEntry& entry) {
    struct stat info {};
    if (lstat(entry.name.c_str(), &info) == 0) {
        entry.type = qxfs::entry_type(info.st_mode);
        entry.ino = ownTag(info);
    }
}

bool DirectoryRepair::hasEntry(const std::string& name) const {
    return std::any_of(m_entries.begin(), m_entries.end(),
                       [&](const dirindex::IndexEntry& entry) { return entry.name == name; });
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
        if (state.exists && templateTag(state.info) == entry.ino && !hasEntry(name) &&
            m_check.listing.find(name) == nullptr) {
            entry.name = name;
            entry.type = qxfs::entry_type(state.info.st_mode);
            m_dropped[place] = false;
            return;
        }
    }
}

std::optional<dirindex::IndexEntry> DirectoryRepair::entryOf(const DirectoryItem& item) const {
    if (item.failure != 0) {
        return std::nullopt;
    }
    dirindex::IndexEntry entry;
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
std::optional<dirindex::IndexEntry> DirectoryRepair::entryOfDots(const std::string& dots) const {
    DirectoryItem item;
    item.name = dots;
    return lstat(dots.c_str(), &item.info) == 0 ? entryOf(item) : std::nullopt;
}

void DirectoryRepair::rebuildIndex() {
    m_entries.clear();
    for (const char* dots : {".", ".."}) {
        if (const auto entry = entryOfDots(dots)) {
            m_entries.push_back(*entry);
        }
    }
    for (const auto& item : m_check.listing.items) {
        const bool system = item.name == dirindex::kIndexName ||
                            item.name == dirindex::kPackageRefName ||
                            item.name == dirindex::kNewIndexName;
        if (const auto entry = system ? std::nullopt : entryOf(item)) {
            m_entries.push_back(*entry);
        }
    }
    addSalvaged();
    m_dropped.assign(m_entries.size(), false);
}

void DirectoryRepair::addSalvaged() {
    const auto bytes =
        base::readSuspect(m_directory.get(), dirindex::kIndexName, kMaxRecordedContent);
    if (!bytes) {
        fail("read", dirindex::kIndexName);
        return;
    }
    for (auto& entry : dirindex::salvageEntries(*bytes)) {
        const auto state = m_area.looksAtTemplates()
                               ? lookUpTemplate(m_area, *entry.link + "/" + entry.name)
                               : TemplateState{};
        if (state.exists && !hasEntry(entry.name)) {
            entry.type = qxfs::entry_type(state.info.st_mode);
            entry.ino = templateTag(state.info);
            m_entries.push_back(std::move(entry));
        }
    }
}

void DirectoryRepair::writeIndex() {
    if (!m_rewrite) {
        return;
    }
    std::vector<dirindex::IndexEntry> kept;
    for (std::size_t place = 0; place < m_entries.size(); ++place) {
        if (!m_dropped[place]) {
            kept.push_back(m_entries[place]);
        }
    }
    if (!record(dirindex::kIndexName, true)) {
        return;
    }
    std::string error;
    if (!dirindex::replaceIndex(m_directory.get(), kept, error)) {
        m_failures.push_back(m_area.absolute(m_check.path) + ": " + error);
        return;
    }
    for (auto* found : m_byIndex) {
        found->finding.repaired = true;
    }
}

void DirectoryRepair::repairItem(DirectoryFinding& found) {
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
    const auto* item = m_check.listing.find(found.name);
    if (item != nullptr && !S_ISREG(item->info.st_mode) && !item->isSymlink()) {
        // What a record cannot bring back is moved aside instead.
        moveAside(found);
        return;
    }
    if (!record(found.name, true)) {
        return;
    }
    if (unlink(found.name.c_str()) != 0) {
        fail("remove", found.name);
        return;
    }
    found.finding.repaired = true;
    dropEntriesOf(found.name);
}

void DirectoryRepair::moveAside(DirectoryFinding& found) {
    std::string error;
    LostDirectory lost(m_area, m_check.path, m_directory.get());
    if (!lost.record(found.name, m_undo, error)) {
        m_failures.push_back(error);
        return;
    }
    if (!m_undo.flush()) {
        fail("record the state of", found.name);
        return;
    }
    if (!lost.move(found.name, error) || !lost.flush(error)) {
        m_failures.push_back(error);
        return;
    }
    found.finding.repaired = true;
    dropEntriesOf(found.name);
}

void DirectoryRepair::setMark(DirectoryFinding& found, bool marked) {
    if (!record(".", false)) {
        return;
    }
    const auto bits = m_check.listing.info.st_mode & qxfs::kPermissionMask;
    if (fchmod(m_directory.get(), marked ? bits | qxfs::kIndexedBit : bits & ~qxfs::kIndexedBit) !=
        0) {
        fail("change the mode of", ".");
        return;
    }
    found.finding.repaired = true;
}

void DirectoryRepair::setAttributes(DirectoryFinding& found) {
    const auto* item = m_check.listing.find(found.name);
    auto state = lookUpTemplate(m_area, item->link);
    if (!state.exists || !record(found.name, true)) {
        return;
    }
    if (!item->isSymlink()) {
        state.info.st_mode |= S_ISVTX;
    }
    state.info.st_atim = item->info.st_atim;
    state.info.st_mtim = item->info.st_mtim;
    if (set_attr(found.name.c_str(), &state.info) != 0) {
        fail("set the attributes of", found.name);
        return;
    }
    found.finding.repaired = true;
}

bool DirectoryRepair::record(const std::string& name, bool withContent) {
    const bool itself = name == ".";
    UndoStep step;
    step.path = m_area.absolute(itself ? m_check.path : joined(m_check.path, name));
    if (readState(m_directory.get(), name, withContent, step.state) &&
        readState(m_directory.get(), itself ? ".." : ".", false, step.parent) && m_undo.add(step) &&
        m_undo.flush()) {
        return true;
    }
    fail("record the state of", name);
    return false;
}

/// @param name in the directory; "." is the directory itself.
void DirectoryRepair::fail(const std::string& what, const std::string& name) {
    const auto inside = name == "." ? m_check.path : joined(m_check.path, name);
    m_failures.push_back("can't " + what + " '" + m_area.absolute(inside) + "': " + reasonBelow());
}

}  // namespace qxfs
