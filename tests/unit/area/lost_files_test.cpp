// Items on their way to lost_files and back, with links planted on either path.
#include "src/area/lost_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_dir.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class LostFiles : public testing::Test {
protected:
    LostFiles() {
        m_folder.write("area/root/bin/sh", "mine");
        m_folder.make_dir("outside");
        std::string error;
        EXPECT_TRUE(openArea(m_folder.path("area"), "", m_area, error)) << error;
    }

    bool move(const Area& area) {
        const auto directory = openDirectory(area, "/bin");
        LostDirectory lost(area, "/bin", directory.get());
        UndoRecord none;
        m_error.clear();
        return lost.record("sh", none, m_error) && lost.move("sh", m_error) && lost.flush(m_error);
    }
    bool restore(const std::string& inside = "/bin/sh") {
        m_error.clear();
        return restoreLost(m_area, inside, m_error);
    }
    [[nodiscard]] bool exists(const std::string& path) const {
        return fs::exists(m_folder.path(path));
    }

    qx_test::TempDir m_folder;
    Area m_area;
    std::string m_error;
};

TEST_F(LostFiles, holdAnItemUnderThePathThatItHad) {
    EXPECT_TRUE(move(m_area)) << m_error;

    EXPECT_FALSE(exists("area/root/bin/sh"));
    EXPECT_TRUE(exists("area/lost_files/root/bin/sh"));
}

TEST_F(LostFiles, giveAnItemBack) {
    ASSERT_TRUE(move(m_area)) << m_error;

    EXPECT_TRUE(restore()) << m_error;

    EXPECT_TRUE(exists("area/root/bin/sh"));
    EXPECT_FALSE(exists("area/lost_files/root/bin/sh"));
}

TEST_F(LostFiles, giveAnItemBackByAPathWithSlashesAtItsEnd) {
    ASSERT_TRUE(move(m_area)) << m_error;

    EXPECT_TRUE(restore("bin/sh//")) << m_error;

    EXPECT_TRUE(exists("area/root/bin/sh"));
}

TEST_F(LostFiles, keepWhatIsThereAlready) {
    m_folder.write("area/lost_files/root/bin/sh", "earlier");

    EXPECT_FALSE(move(m_area));

    EXPECT_THAT(m_error, HasSubstr("is there already"));
    EXPECT_EQ("mine", qx_test::read_file(m_folder.path("area/root/bin/sh")));
    EXPECT_EQ("earlier", qx_test::read_file(m_folder.path("area/lost_files/root/bin/sh")));
}

TEST_F(LostFiles, takeNothingThroughALink) {
    m_folder.make_link("area/lost_files/root", "../../outside");

    EXPECT_FALSE(move(m_area));

    EXPECT_THAT(m_error, HasSubstr("the path leads out of the area"));
    EXPECT_TRUE(fs::is_empty(m_folder.path("outside")));
    EXPECT_TRUE(exists("area/root/bin/sh"));
}

TEST_F(LostFiles, giveNothingBackThroughALink) {
    ASSERT_TRUE(move(m_area)) << m_error;
    fs::remove(m_folder.path("area/root/bin"));
    m_folder.make_link("area/root/bin", "../../outside");

    EXPECT_FALSE(restore());

    EXPECT_THAT(m_error, HasSubstr("the path leads out of the area"));
    EXPECT_TRUE(fs::is_empty(m_folder.path("outside")));
}

TEST_F(LostFiles, sayWhichDirectoryIsMissing) {
    ASSERT_TRUE(move(m_area)) << m_error;
    fs::remove(m_folder.path("area/root/bin"));

    EXPECT_FALSE(restore());

    EXPECT_THAT(m_error, HasSubstr("can't open the directory of '" + m_area.root +
                                   "/bin/sh': No such file or directory"));
}

TEST_F(LostFiles, areNotMadeInATreeThatIsNoPrivateArea) {
    Area tree;
    ASSERT_TRUE(openArea(m_folder.path("area/root"), "", tree, m_error)) << m_error;

    EXPECT_FALSE(move(tree));

    EXPECT_THAT(m_error, HasSubstr("is no private area and has no lost_files"));
    EXPECT_FALSE(exists("area/root/lost_files"));
}

}  // namespace
}  // namespace qxfs
