// An area to be indexed, damaged, checked, repaired and undone.
#include "tests/unit/area/checked_area.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "src/area/index_area.h"
#include "src/area/undo.h"

namespace qxfsutil_test {

using namespace qxfs;

CheckedArea::CheckedArea() : m_builder(m_folder.path("w")) {
    std::string error;
    EXPECT_TRUE(openArea(m_builder.privateDir(), m_builder.templateRoot(), m_area, error)) << error;
}

void CheckedArea::index(bool convert) {
    indexArea(m_area, {convert, false}, [](const IndexOutcome& outcome) {
        EXPECT_NE(IndexResult::failed, outcome.result) << outcome.path;
    });
}

std::vector<std::string> CheckedArea::run(const RepairPolicy& policy) {
    UndoRecord undo;
    std::string error;
    if (policy.mode != RepairMode::report) {
        m_undoFile = m_folder.path("undo" + std::to_string(++m_runs));
        EXPECT_TRUE(undo.open(m_undoFile, m_area.privateDir, error)) << error;
    }
    std::vector<std::string> found;
    m_summary = checkArea(
        m_area, policy, undo,
        [&](const Finding& finding) {
            found.push_back(std::string(kindOf(finding.code).name) + " " + finding.path);
        },
        [](const CheckSummary&) {});
    return found;
}

std::vector<std::string> CheckedArea::check(const RepairPolicy& policy) {
    auto found = run(policy);
    EXPECT_THAT(m_summary.failures, testing::IsEmpty());
    return found;
}

std::vector<std::string> CheckedArea::checkFailing(const RepairPolicy& policy) {
    run(policy);
    return m_summary.failures;
}

void CheckedArea::undo() const {
    RecordedChanges changes;
    std::string error;
    ASSERT_TRUE(readRecord(m_undoFile, changes, error)) << error;
    EXPECT_THAT(undoChanges(changes), testing::IsEmpty());
}

void CheckedArea::flipByte(const std::string& inside, std::streamoff offset, char mask) const {
    std::fstream file(path(inside), std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(offset);
    const char byte = static_cast<char>(file.get() ^ mask);
    file.seekp(offset);
    file.put(byte);
}

void CheckedArea::rewriteIndex(
    const std::string& directory,
    const std::function<void(std::vector<dirindex::IndexEntry>&)>& change) const {
    auto entries =
        dirindex::readIndexFile(AT_FDCWD, path(directory) + "/" + dirindex::kIndexName).entries;
    change(entries);
    std::string error;
    ASSERT_TRUE(dirindex::replaceIndex(
        base::Fd(open(path(directory).c_str(), O_RDONLY | O_DIRECTORY)).get(), entries, error))
        << error;
}

void CheckedArea::changeEntry(const std::string& directory, const std::string& name,
                              const std::function<void(dirindex::IndexEntry&)>& change) const {
    rewriteIndex(directory, [&](std::vector<dirindex::IndexEntry>& entries) {
        for (auto& entry : entries) {
            if (entry.name == name) {
                change(entry);
            }
        }
    });
}

void write(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

}  // namespace qxfsutil_test
