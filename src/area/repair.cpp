// Repairs of one directory, in an order that loses nothing when it is cut short:
//   1. decide about every finding, and plan the new index;
//   2. write down what everything was that may be changed, and flush that;
//   3. remove what an interrupted run left, move damaged items aside;
//   4. write the new index beside the old one, check it, and rename it over;
//   5. remove links that the new index describes, correct others;
//   6. set the directory's mark and the attributes of links.
#include "src/area/repair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "base/durable.h"
#include "base/tree.h"
#include "src/area/confined.h"

namespace qxfs {

namespace {

/// Findings that are repaired by a new index.
bool isIndexFinding(FindingCode code) {
    using enum FindingCode;
    switch (code) {
        case indexWrongType:
        case indexDamaged:
        case indexOfOther:
        case indexTableWrong:
        case indexLinkDamaged:
        case checksumWrong:
        case checksumAbsent:
        case linkLost:
        case linkOutside:
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

/// The inode tag of the directory that an index was made for; 0 when it does not say.
std::uint32_t tagOfOwner(const dirindex::IndexFile& index) {
    const auto itself = std::find_if(index.entries.begin(), index.entries.end(),
                                     [](const auto& entry) { return entry.name == "."; });
    return itself == index.entries.end() ? 0 : itself->ino;
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
    if ((mode == RepairMode::preen && !kind.preen) ||
        (finding.code == FindingCode::attributesDiffer && !setAttributes)) {
        return Disposal::leave;
    }
    return kind.question == Question::dispose ? Disposal::moveAside : Disposal::repair;
}

std::vector<std::string> DirectoryRepair::run(const RepairPolicy& policy) {
    if (!decideAll(policy)) {
        return {};
    }
    m_directory = openDirectory(m_area, m_check.path);
    if (!m_directory) {
        fail("open", ".");
        return std::move(m_failures);
    }
    m_lost.emplace(m_area, m_check.path, m_directory.get());
    m_index.emplace(m_area, m_check, m_directory.get(), policy.dropMissing);
    m_index->mend();
    m_marked = m_check.listing.isMarked();
    planExchange();
    for (const auto& [found, disposal] : m_decisions) {
        plan(*found, disposal);
    }
    recordAll();
    if (m_undo.flush()) {
        applyAll();
    } else {
        fail("flush the undo record of", ".");
    }
    auto told = m_index->takeTold();
    std::move(told.begin(), told.end(), std::back_inserter(m_check.findings));
    return std::move(m_failures);
}

/// @return false when nothing is to be done.
bool DirectoryRepair::decideAll(const RepairPolicy& policy) {
    for (auto& found : m_check.findings) {
        const auto disposal = policy.decide(found.finding);
        if (disposal != Disposal::leave) {
            m_decisions.emplace_back(&found, disposal);
        }
    }
    return !m_decisions.empty();
}

void DirectoryRepair::plan(DirectoryFinding& found, Disposal disposal) {
    using enum FindingCode;
    const auto code = found.finding.code;
    const auto* item = m_check.listing.find(found.name);
    if (isIndexFinding(code) || m_index->wasMistaken(found)) {
        return planIndex(found);
    }
    switch (code) {
        case markMissing:
        case indexMissing:
            m_marked = code == markMissing;
            m_marks.push_back(&found);
            return;
        case linkLeft:
            m_links.push_back(&found);
            return;
        case shortcutDamaged:
            m_texts.push_back(&found);
            return;
        case attributesDiffer:
            m_attributes.push_back(&found);
            return;
        default:
            break;
    }
    // What a record cannot bring back is moved aside even if it was to be removed.
    const bool plain = item == nullptr || S_ISREG(item->info.st_mode) || item->isSymlink();
    const bool remove = disposal == Disposal::remove || code == temporaryLeft;
    (remove && plain ? m_removals : m_moves).push_back(&found);
    if (found.name == dirindex::kIndexName) {
        m_marked = false;
    }
}

void DirectoryRepair::planIndex(DirectoryFinding& found) {
    // Too large to be written down, or nothing that could be: it makes room for the new one.
    const bool wrongType = found.finding.code == FindingCode::indexWrongType;
    const auto* item = m_check.listing.find(dirindex::kIndexName);
    if (m_exchange != nullptr) {
        return;
    }
    if (wrongType || (found.finding.code == FindingCode::indexDamaged && item != nullptr &&
                      static_cast<std::uint64_t>(item->info.st_size) > kMaxRecordedContent)) {
        found.name = dirindex::kIndexName;
        m_moves.push_back(&found);
    }
    if (!wrongType || m_marked) {
        m_index->plan(found);
        m_byIndex.push_back(&found);
    }
}

/// Two directories that have each other's index give them back: nothing of either is lost.
void DirectoryRepair::planExchange() {
    const auto found =
        std::find_if(m_decisions.begin(), m_decisions.end(), [](const auto& decision) {
            return decision.first->finding.code == FindingCode::indexOfOther;
        });
    if (found == m_decisions.end() || !m_check.index.has_value()) {
        return;
    }
    const auto wanted = tagOfOwner(*m_check.index);
    std::string failed;
    base::walkTree(
        openDirectory(m_area, "/").get(),
        [&](const std::string& path, const struct stat& info) {
            if (S_ISDIR(info.st_mode) && ownTag(info) == wanted) {
                m_other = "/" + path;
            }
        },
        failed);
    const auto other = m_other.empty() ? base::Fd() : openDirectory(m_area, m_other);
    if (other && tagOfOwner(dirindex::readIndexFile(other.get(), dirindex::kIndexName)) ==
                     ownTag(m_check.listing.info)) {
        m_exchange = found->first;
    }
}

void DirectoryRepair::exchangeIndexes() {
    const auto other = openDirectory(m_area, m_other);
    if (other &&
        renameat2(m_directory.get(), dirindex::kIndexName, other.get(), dirindex::kIndexName,
                  RENAME_EXCHANGE) == 0 &&
        base::flushDirectory(other.get())) {
        m_exchange->finding.repaired = true;
    } else {
        fail("exchange", dirindex::kIndexName);
    }
}

bool DirectoryRepair::isMoved(const std::string& name) const {
    return std::any_of(m_moves.begin(), m_moves.end(),
                       [&](const DirectoryFinding* found) { return found->name == name; });
}

bool DirectoryRepair::isGone(const std::string& name) const {
    return std::binary_search(m_gone.begin(), m_gone.end(), name);
}

/// Writes down what is to be changed, and leaves what could not be written down.
void DirectoryRepair::recordAll() {
    std::string error;
    keepRecorded(m_removals);
    std::erase_if(m_moves, [&](const DirectoryFinding* found) {
        const bool recorded = m_lost->record(found->name, m_undo, error);
        if (!recorded) {
            m_failures.push_back(error);
        }
        return !recorded;
    });
    recordIndex();
    keepRecorded(m_links);
    keepRecorded(m_texts);
    keepRecorded(m_attributes);
    if (m_marked != m_check.listing.isMarked() && !record(".", false)) {
        m_marked = m_check.listing.isMarked();
        m_marks.clear();
    }
}

void DirectoryRepair::recordIndex() {
    if (m_exchange != nullptr) {
        const auto other = openDirectory(m_area, m_other);
        UndoStep step;
        step.path = m_area.absolute(joined(m_other, dirindex::kIndexName));
        m_recordedIndex = record(dirindex::kIndexName, true) && other &&
                          add(other.get(), dirindex::kIndexName, true, step);
        return;
    }
    std::vector<std::string> names;
    for (const auto* findings : {&m_removals, &m_moves}) {
        for (const auto* found : *findings) {
            names.push_back(found->name);
        }
    }
    std::sort(names.begin(), names.end());
    if (!m_index->isChanged() && !m_index->holdsAny(names)) {
        return;
    }
    if (std::binary_search(names.begin(), names.end(), dirindex::kIndexName)) {
        // By then it has made room.
        auto step = stepFor(dirindex::kIndexName);
        m_recordedIndex = readState(m_directory.get(), ".", false, step.parent) && m_undo.add(step);
    } else {
        m_recordedIndex = record(dirindex::kIndexName, true);
    }
    for (const auto& name : m_index->replacedLinks()) {
        m_recordedIndex =
            m_recordedIndex &&
            (std::binary_search(names.begin(), names.end(), name) || record(name, true));
    }
}

void DirectoryRepair::keepRecorded(Findings& findings) {
    std::erase_if(findings,
                  [this](const DirectoryFinding* found) { return !record(found->name, true); });
}

void DirectoryRepair::applyAll() {
    removeItems();
    moveItems();
    writeIndex();
    for (auto* found : m_links) {
        if (unlinkat(m_directory.get(), found->name.c_str(), 0) == 0) {
            found->finding.repaired = true;
        } else {
            fail("remove", found->name);
        }
    }
    for (auto* found : m_texts) {
        correctText(*found);
    }
    setMark();
    for (auto* found : m_attributes) {
        setAttributes(*found);
    }
    if (!base::flushDirectory(m_directory.get())) {
        fail("flush", ".");
    }
}

void DirectoryRepair::removeItems() {
    for (auto* found : m_removals) {
        if (unlinkat(m_directory.get(), found->name.c_str(), 0) == 0) {
            found->finding.repaired = true;
            m_gone.push_back(found->name);
        } else {
            fail("remove", found->name);
        }
    }
}

void DirectoryRepair::moveItems() {
    std::string error;
    for (auto* found : m_moves) {
        if (m_lost->move(found->name, error)) {
            found->finding.repaired = true;
            m_gone.push_back(found->name);
        } else {
            m_failures.push_back(error);
        }
    }
    if (!m_lost->flush(error)) {
        m_failures.push_back(error);
    }
    std::sort(m_gone.begin(), m_gone.end());
    if (isMoved(dirindex::kIndexName) && !isGone(dirindex::kIndexName)) {
        m_marked = m_check.listing.isMarked();
    }
    // What lies in lost_files is not looked at any more.
    std::erase_if(m_check.subdirectories, [this](const std::string& path) {
        return isGone(path.substr(path.rfind('/') + 1));
    });
}

void DirectoryRepair::writeIndex() {
    if (m_exchange != nullptr && m_recordedIndex) {
        return exchangeIndexes();
    }
    m_index->dropGone(m_gone);
    if (!m_index->isChanged() || !m_recordedIndex) {
        return;
    }
    // What had to make room and did not is not written over.
    const bool inPlace = isMoved(dirindex::kIndexName) && !isGone(dirindex::kIndexName);
    std::string error;
    if (inPlace ||
        !dirindex::replaceIndex(m_directory.get(), m_index->finish(), error, staging().folder())) {
        if (!inPlace) {
            m_failures.push_back(m_area.absolute(m_check.path) + ": " + error);
        }
        return;
    }
    for (auto* found : m_byIndex) {
        found->finding.repaired = true;
    }
    removeReplaced();
}

void DirectoryRepair::removeReplaced() {
    for (const auto& name : m_index->replacedLinks()) {
        if (!isGone(name) && unlinkat(m_directory.get(), name.c_str(), 0) != 0) {
            fail("remove", name);
        }
    }
}

void DirectoryRepair::setMark() {
    const auto bits = m_check.listing.info.st_mode & kPermissionMask;
    if (m_marked == m_check.listing.isMarked()) {
        return;
    }
    if (fchmod(m_directory.get(), m_marked ? bits | kIndexedBit : bits & ~kIndexedBit) != 0) {
        fail("change the mode of", ".");
        return;
    }
    for (auto* found : m_marks) {
        found->finding.repaired = true;
    }
}

void DirectoryRepair::setAttributes(DirectoryFinding& found) {
    const auto* item = m_check.listing.find(found.name);
    const auto wanted = lookUpTemplate(m_area, item->link);
    PathState state;
    if (!wanted.exists || !readState(m_directory.get(), found.name, false, state)) {
        return;
    }
    // A symbolic link has no permissions that could be set.
    state.uid = wanted.info.st_uid;
    state.gid = wanted.info.st_gid;
    if (!item->isSymlink()) {
        state.mode = (state.mode & S_IFMT) | (wanted.info.st_mode & kPermissionMask) | S_ISVTX;
    }
    if (!writeAttributes(m_directory.get(), found.name, state)) {
        fail("set the attributes of", found.name);
        return;
    }
    found.finding.repaired = true;
}

/// Writes a link anew with the text that it must have had.
void DirectoryRepair::correctText(DirectoryFinding& found) {
    PathState state;
    if (readState(m_directory.get(), found.name, true, state)) {
        state.content = found.link;
        found.finding.repaired = recreate(staging(), m_directory.get(), found.name, state);
    }
    if (!found.finding.repaired) {
        fail("write", found.name);
    }
}

/// Made when it is needed first.
const Staging& DirectoryRepair::staging() {
    if (!m_staging.has_value()) {
        const base::Fd privateDir(
            m_area.isPrivate()
                ? open(m_area.privateDir.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)
                : -1);
        m_staging.emplace(privateDir.get());
    }
    return *m_staging;
}

UndoStep DirectoryRepair::stepFor(const std::string& name) const {
    UndoStep step;
    step.path = m_area.absolute(name == "." ? m_check.path : joined(m_check.path, name));
    return step;
}

bool DirectoryRepair::record(const std::string& name, bool withContent) {
    auto step = stepFor(name);
    return add(m_directory.get(), name, withContent, step) || fail("record the state of", name);
}

/// Writes down what a name in an opened directory is.
bool DirectoryRepair::add(int directory, const std::string& name, bool withContent,
                          UndoStep& step) {
    return readState(directory, name, withContent, step.state) &&
           readState(directory, name == "." ? ".." : ".", false, step.parent) && m_undo.add(step);
}

/// @param name in the directory; "." is the directory itself.
/// @return false.
bool DirectoryRepair::fail(const std::string& what, const std::string& name) {
    const auto inside = name == "." ? m_check.path : joined(m_check.path, name);
    m_failures.push_back("can't " + what + " '" + m_area.absolute(inside) + "': " + reasonBelow());
    return false;
}

}  // namespace qxfs
