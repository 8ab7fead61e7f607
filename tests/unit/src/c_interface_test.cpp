// The public header as C sees it.
#include <gtest/gtest.h>

#include <cstddef>

#include "src/qxfsutil.h"

extern "C" int c_caller_finds_the_interface(void);

namespace {

TEST(CInterface, IsUsableFromC) {
    clean_memory();
    EXPECT_EQ(c_caller_finds_the_interface(), 1);
}

TEST(CInterface, EntryFieldsStandInTheOrderOfARecordsHead) {
    EXPECT_EQ(offsetof(dent, next), 0u);
    EXPECT_EQ(offsetof(dent, type), sizeof(void*));
    EXPECT_EQ(offsetof(dent, flags) - offsetof(dent, type), 1u);
    EXPECT_EQ(offsetof(dent, namelen) - offsetof(dent, type), 2u);
    EXPECT_EQ(offsetof(dent, reclen) - offsetof(dent, type), 4u);
    EXPECT_EQ(offsetof(dent, ino) - offsetof(dent, type), 8u);
    EXPECT_EQ(offsetof(dent, link) - offsetof(dent, type), 12u);
    EXPECT_EQ(offsetof(dent, name) - offsetof(dent, type), 16u);
    EXPECT_EQ(offsetof(dent, poolstr) - offsetof(dent, name), sizeof(void*));
}

TEST(CInterface, BucketsHoldHeadTailAndCount) {
    EXPECT_EQ(offsetof(bucket, head), 0u);
    EXPECT_EQ(offsetof(bucket, tail), sizeof(void*));
    EXPECT_EQ(offsetof(bucket, count), 2 * sizeof(void*));
}

}  // namespace
