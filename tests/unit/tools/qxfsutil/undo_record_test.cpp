// Undo records: written, read back, applied, and met damaged.
#include "tools/qxfsutil/undo_record.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/temp_dir.h"

namespace qxfsutil {
namespace {

class Undo : public testing::Test {
protected:
    UndoStep stepFor(const std::string& path) {
        UndoStep step;
        step.path = path;
        EXPECT_TRUE(readState(path, true, step.state));
        return step;
    }

    void write(const UndoStep& step) {
        UndoRecord record;
        std::string error;
        ASSERT_TRUE(record.open(m_file, error)) << error;
        ASSERT_TRUE(record.add(step));
    }

    std::vector<UndoStep> read() {
        std::vector<UndoStep> steps;
        std::string error;
        EXPECT_TRUE(readRecord(m_file, steps, error)) << error;
        return steps;
    }

    qx_test::TempDir m_folder;
    std::string m_file = m_folder.path("record");
};

TEST_F(Undo, bringsAFileBackWithEveryByteAndAttribute) {
    const auto path = m_folder.write("a\n\xff", std::string("\0\x80 text", 7));
    chmod(path.c_str(), 01640);
    write(stepFor(path));
    struct stat before {};
    lstat(path.c_str(), &before);
    unlink(path.c_str());

    std::string error;
    ASSERT_TRUE(undoStep(read().at(0), error)) << error;

    struct stat after {};
    ASSERT_EQ(0, lstat(path.c_str(), &after));
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(std::string("\0\x80 text", 7), qx_test::read_file(path));
}

TEST_F(Undo, bringsASymbolicLinkBack) {
    const auto path = m_folder.make_link("link", "target");
    write(stepFor(path));
    unlink(path.c_str());

    std::string error;
    ASSERT_TRUE(undoStep(read().at(0), error)) << error;

    EXPECT_EQ("target", std::filesystem::read_symlink(path).string());
}

TEST_F(Undo, removesWhatWasNotThere) {
    const auto path = m_folder.path("new");
    write(stepFor(path));
    m_folder.write("new", "x");

    std::string error;
    ASSERT_TRUE(undoStep(read().at(0), error)) << error;

    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Undo, mayBeRepeated) {
    const auto path = m_folder.write("a", "x");
    write(stepFor(path));
    unlink(path.c_str());

    std::string error;
    EXPECT_TRUE(undoStep(read().at(0), error)) << error;
    EXPECT_TRUE(undoStep(read().at(0), error)) << error;

    EXPECT_EQ("x", qx_test::read_file(path));
}

TEST_F(Undo, leavesOutALastLineThatIsCutShort) {
    write(stepFor(m_folder.write("a", "x")));
    std::ofstream(m_file, std::ios::app) << "{\"step\": \"res";

    EXPECT_EQ(1U, read().size());
}

TEST_F(Undo, refusesADamagedRecordNamingTheLine) {
    std::ofstream(m_file) << "{}\n";
    std::vector<UndoStep> steps;
    std::string error;

    EXPECT_FALSE(readRecord(m_file, steps, error));

    EXPECT_NE(std::string::npos, error.find(m_file + ":1: "));
}

TEST_F(Undo, refusesARecordThatIsNotThere) {
    std::vector<UndoStep> steps;
    std::string error;
    EXPECT_FALSE(readRecord(m_file, steps, error));
    EXPECT_NE(std::string::npos, error.find("No such file or directory"));
}

TEST_F(Undo, neverOverwritesARecord) {
    m_folder.write("record", "precious");
    UndoRecord record;
    std::string error;
    EXPECT_FALSE(record.open(m_file, error));
    EXPECT_EQ("precious", qx_test::read_file(m_file));
}

TEST_F(Undo, withoutAnOpenRecordWritesNothing) {
    UndoRecord record;
    EXPECT_TRUE(record.add(stepFor(m_folder.write("a", "x"))));
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

}  // namespace
}  // namespace qxfsutil
