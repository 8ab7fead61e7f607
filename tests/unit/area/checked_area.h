// An area to be indexed, damaged, checked, repaired and undone, and verbs to damage it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "src/area/check_area.h"
#include "src/index/index_file.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"

namespace qxfsutil_test {

class CheckedArea {
public:
    CheckedArea();

    [[nodiscard]] std::string path(const std::string& inside) const {
        return m_builder.root() + "/" + inside;
    }
    [[nodiscard]] std::string templateFile(const std::string& inside) const {
        return m_builder.templateFile(inside);
    }
    qx_test::AreaBuilder& builder() { return m_builder; }
    qxfs::Area& area() { return m_area; }

    /// Indexes everything; magic symlinks become shortcuts when `convert` says so.
    void index(bool convert = false);

    /// Kind and path of everything that a check finds. One that repairs leaves an undo record.
    std::vector<std::string> check(const qxfs::RepairPolicy& policy = qxfs::RepairMode::report);
    /// The same, of a check that may fail: why it did.
    std::vector<std::string> checkFailing(const qxfs::RepairPolicy& policy);
    /// Of the last check.
    [[nodiscard]] const qxfs::CheckSummary& summary() const { return m_summary; }
    /// Undoes the last repairing check.
    void undo() const;

    void flipByte(const std::string& inside, std::streamoff offset, char mask) const;
    void rewriteIndex(const std::string& directory,
                      const std::function<void(std::vector<dirindex::IndexEntry>&)>& change) const;
    void changeEntry(const std::string& directory, const std::string& name,
                     const std::function<void(dirindex::IndexEntry&)>& change) const;

private:
    std::vector<std::string> run(const qxfs::RepairPolicy& policy);

    qx_test::TempDir m_folder;
    qx_test::AreaBuilder m_builder;
    qxfs::Area m_area;
    qxfs::CheckSummary m_summary;
    std::string m_undoFile;
    int m_runs = 0;
};

void write(const std::string& path, const std::string& text);

}  // namespace qxfsutil_test
