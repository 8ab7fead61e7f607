// Name lists: order of adding, look-ups by name and by inode pair.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "src/namelist.h"
#include "src/qxfsutil.h"

namespace {

class NamelistTest : public testing::Test {
protected:
    ~NamelistTest() override { namelist_clean(&list_); }

    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const struct namelist* entry = list_; entry != nullptr; entry = entry->next) {
            result.emplace_back(entry->name);
        }
        return result;
    }

    struct namelist* list_ = nullptr;
};

TEST_F(NamelistTest, KeepsTheOrderOfAdding) {
    namelist_add(&list_, "b");
    namelist_add_inode(&list_, "a", 1, 2);
    namelist_add(&list_, "c");
    EXPECT_EQ((std::vector<std::string>{"b", "a", "c"}), names());
}

TEST_F(NamelistTest, CopiesTheName) {
    std::string name = "first";
    namelist_add(&list_, name.c_str());
    name = "other";
    EXPECT_STREQ("first", list_->name);
}

TEST_F(NamelistTest, SearchGives0ForANameThatIsThereAnd1Otherwise) {
    namelist_add(&list_, "here");
    EXPECT_EQ(0, namelist_search(list_, "here"));
    EXPECT_EQ(1, namelist_search(list_, "her"));
    EXPECT_EQ(1, namelist_search(list_, "here "));
}

TEST_F(NamelistTest, SearchOfAnEmptyListGives1) {
    EXPECT_EQ(1, namelist_search(nullptr, "here"));
    EXPECT_EQ(1, namelist_search_inode(nullptr, 0, 0));
}

TEST_F(NamelistTest, SearchSeesWhatIsAddedAfterAnEarlierSearch) {
    namelist_add(&list_, "a");
    EXPECT_EQ(1, namelist_search(list_, "b"));
    namelist_add_inode(&list_, "b", 7, 8);
    EXPECT_EQ(0, namelist_search(list_, "b"));
    EXPECT_EQ(0, namelist_search_inode(list_, 7, 8));
    namelist_add_inode(&list_, "c", 9, 10);
    EXPECT_EQ(0, namelist_search_inode(list_, 9, 10));
}

TEST_F(NamelistTest, InodeSearchNeedsBothNumbers) {
    namelist_add_inode(&list_, "a", 7, 8);
    EXPECT_EQ(1, namelist_search_inode(list_, 7, 7));
    EXPECT_EQ(1, namelist_search_inode(list_, 8, 7));
    EXPECT_EQ(8U, list_->template_inode);
    EXPECT_EQ(7U, list_->inode);
}

TEST_F(NamelistTest, ANameWithoutInodesIsNoPairOfZeros) {
    namelist_add(&list_, "a");
    EXPECT_EQ(1, namelist_search_inode(list_, 0, 0));
    namelist_add_inode(&list_, "b", 0, 0);
    EXPECT_EQ(0, namelist_search_inode(list_, 0, 0));
}

TEST_F(NamelistTest, CleanFreesAndResets) {
    namelist_add(&list_, "a");
    namelist_clean(&list_);
    EXPECT_EQ(nullptr, list_);
    namelist_clean(&list_);
    EXPECT_EQ(nullptr, list_);
}

TEST_F(NamelistTest, DroppingTheFirstKeepsTheRestSearchable) {
    for (const char* name : {"a", "b", "c"}) {
        namelist_add(&list_, name);
    }
    EXPECT_EQ(0, namelist_search(list_, "a"));
    qxfs::namelist_drop_first(&list_);
    EXPECT_EQ(1, namelist_search(list_, "a"));
    EXPECT_EQ(0, namelist_search(list_, "c"));
    namelist_add(&list_, "d");
    EXPECT_EQ((std::vector<std::string>{"b", "c", "d"}), names());
    while (list_ != nullptr) {
        qxfs::namelist_drop_first(&list_);
    }
}

TEST_F(NamelistTest, DroppingTheFirstDropsItsInodesToo) {
    namelist_add_inode(&list_, "a", 1, 2);
    namelist_add_inode(&list_, "b", 3, 4);
    EXPECT_EQ(0, namelist_search_inode(list_, 1, 2));
    qxfs::namelist_drop_first(&list_);
    EXPECT_EQ(1, namelist_search_inode(list_, 1, 2));
    EXPECT_EQ(0, namelist_search_inode(list_, 3, 4));
}

}  // namespace
