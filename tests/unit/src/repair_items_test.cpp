// Damaged items moved to the lost files, and back into their place.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "tests/unit/src/checker_fixture.h"

namespace {

namespace fs = std::filesystem;
using qx_test::read_file;

class RepairItemsTest : public CheckerTest {
protected:
    RepairItemsTest() { priv_dir = private_.c_str(); }

    std::string private_ = area_.files().make_dir("private");
};

TEST_F(RepairItemsTest, AnItemGoesToItsPlaceAmongTheLostFiles) {
    area_.files().write("private/root/a/b/x", "damaged");
    EXPECT_EQ(0, move_item_to_lost("a/b/x", "root"));
    EXPECT_EQ("damaged", read_file(private_ + "/lost_files/root/a/b/x"));
    EXPECT_FALSE(fs::exists(private_ + "/root/a/b/x"));
}

TEST_F(RepairItemsTest, MissingDirectoriesAreMadeWithMode0755) {
    area_.files().write("private/root/a/x", "damaged");
    const mode_t mask = umask(0);
    EXPECT_EQ(0, move_item_to_lost("a/x", "root"));
    umask(mask);
    for (const char* dir : {"/lost_files", "/lost_files/root", "/lost_files/root/a"}) {
        EXPECT_EQ(0755U, qx_test::lstat_of(private_ + dir).st_mode & 07777) << dir;
    }
}

TEST_F(RepairItemsTest, AnItemThatIsNotThereGivesANegativeResult) {
    EXPECT_GT(0, move_item_to_lost("x", "root"));
}

TEST_F(RepairItemsTest, ADirectoryThatCannotBeMadeGivesANegativeResult) {
    area_.files().write("private/root/x", "damaged");
    area_.files().write("private/lost_files", "a file");
    EXPECT_GT(0, move_item_to_lost("x", "root"));
    EXPECT_TRUE(fs::exists(private_ + "/root/x"));
}

TEST_F(RepairItemsTest, WhatLeadsToThePrivateAreaIsNotMade) {
    const std::string missing = area_.files().path("none/private");
    priv_dir = missing.c_str();
    EXPECT_GT(0, move_item_to_lost("x", "root"));
    EXPECT_FALSE(fs::exists(area_.files().path("none")));
}

TEST_F(RepairItemsTest, ThePrivateAreaMustBeKnown) {
    priv_dir = nullptr;
    EXPECT_EXIT(move_item_to_lost("x", "root"), testing::ExitedWithCode(255),
                "condition: priv_dir");
    EXPECT_EXIT(move_item_to_same("x", "y"), testing::ExitedWithCode(255), "condition: priv_dir");
}

TEST_F(RepairItemsTest, BothArgumentsMustBeGiven) {
    const char* text =
        "ASSERTION FAILED: src/common\\([0-9]+\\), function 'move_item_to_lost\\(\\)', condition: "
        "name && type_path";
    EXPECT_EXIT(move_item_to_lost(nullptr, "root"), testing::ExitedWithCode(255), text);
    EXPECT_EXIT(move_item_to_lost("x", nullptr), testing::ExitedWithCode(255), text);
}

TEST_F(RepairItemsTest, AFileOfTheSameDirectoryIsMovedBack) {
    area_.files().write("private/root/a/b/x-saved", "good");
    EXPECT_EQ(0, move_item_to_same("a/b/x", "x-saved"));
    EXPECT_EQ("good", read_file(private_ + "/root/a/b/x"));
    EXPECT_FALSE(fs::exists(private_ + "/root/a/b/x-saved"));
}

TEST_F(RepairItemsTest, APathWithoutInnerSlashLiesInTheRootItself) {
    area_.files().write("private/root/saved", "good");
    EXPECT_EQ(0, move_item_to_same("x", "saved"));
    EXPECT_EQ("good", read_file(private_ + "/root/x"));
    area_.files().write("private/root/saved", "better");
    EXPECT_EQ(0, move_item_to_same("/x", "saved"));
    EXPECT_EQ("better", read_file(private_ + "/root/x"));
}

TEST_F(RepairItemsTest, TheMoveIsShownAtLevel4) {
    area_.files().write("private/root/a/saved", "good");
    EXPECT_EQ("move '" + private_ + "/root/a/saved' to '" + private_ + "/root/a/x'\n",
              said(4, [] { return move_item_to_same("a/x", "saved"); }));
    area_.files().write("private/root/a/saved", "good");
    EXPECT_EQ("", said(3, [] { return move_item_to_same("a/x", "saved"); }));
}

TEST_F(RepairItemsTest, AMoveThatFailsEndsTheProcessWithStatus1) {
    EXPECT_EXIT(move_item_to_same("a/x", "saved"), testing::ExitedWithCode(1),
                "Error: can't move '" + private_ + "/root/a/saved' to '" + private_ +
                    "/root/a/x': No such file or directory");
}

}  // namespace
