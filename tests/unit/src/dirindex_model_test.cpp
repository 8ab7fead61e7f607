// The in-memory model: bucket counts, pool, hash table, freeing.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>

#include "src/dirindex_model.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::fill_list;

class Model : public testing::Test {
protected:
    void SetUp() override { clean_memory(); }
    void TearDown() override { clean_memory(); }
};

unsigned selected_for(unsigned entries) {
    tot = entries;
    select_prime();
    return prime;
}

TEST_F(Model, BucketCountFollowsTheNumberOfEntries) {
    EXPECT_EQ(selected_for(0), 1u);
    EXPECT_EQ(selected_for(7), 1u);
    EXPECT_EQ(selected_for(8), 251u);
    EXPECT_EQ(selected_for(255), 251u);
    EXPECT_EQ(selected_for(256), 1019u);
    EXPECT_EQ(selected_for(1000000), 1019u);
}

TEST_F(Model, PoolGivesTheSameStringForEqualText) {
    const std::string copy = "////os/lib";
    poolstr* first = pool_add("////os/lib");
    EXPECT_EQ(pool_add(copy.c_str()), first);
    EXPECT_NE(first->text, copy.c_str());
    EXPECT_EQ(first->next, nullptr);
}

TEST_F(Model, PoolComparesBytes) {
    EXPECT_NE(pool_add("////A"), pool_add("////a"));
    EXPECT_NE(pool_add("////a"), pool_add("////a/"));
}

TEST_F(Model, NewPoolStringsStandAtTheHeadUnwritten) {
    poolstr* first = pool_add("////a");
    poolstr* second = pool_add("////b");
    EXPECT_EQ(pool, second);
    EXPECT_EQ(second->next, first);
    EXPECT_EQ(second->offset, 0u);
}

TEST_F(Model, PoolFindsStringsThatACallerLinkedIn) {
    auto* own = static_cast<poolstr*>(std::malloc(sizeof(poolstr)));
    *own = {pool, strdup("////own"), 0};
    pool = own;
    EXPECT_EQ(pool_add("////own"), own);
}

TEST_F(Model, PoolForgetsAStringThatACallerFreed) {
    pool_add("////a");
    poolstr* second = pool_add("////b");
    pool = second->next;
    free_poolstr(second);
    poolstr* again = pool_add("////b");
    EXPECT_EQ(pool, again);
    EXPECT_STREQ(again->text, "////b");
    EXPECT_STREQ(again->next->text, "////a");
}

TEST_F(Model, HashTableTakesEveryEntryOffTheList) {
    fill_list({{8, "a", "", 2}, {8, "b", "", 2}, {8, "c", "", 2}});
    prime = 1;
    create_hash_table();
    EXPECT_EQ(dlist, nullptr);
    EXPECT_EQ(dlist_end, nullptr);
    EXPECT_EQ(ht[0].count, 3u);
    EXPECT_STREQ(ht[0].head->name, "a");
    EXPECT_STREQ(ht[0].head->next->name, "b");
    EXPECT_STREQ(ht[0].tail->name, "c");
    EXPECT_EQ(ht[0].tail->next, nullptr);
    EXPECT_EQ(ht_emit[0], 0u);
}

TEST_F(Model, EntriesStandInTheBucketOfTheirHash) {
    fill_list({{8, "abcd", "", 2}, {8, "\x80", "", 2}});
    prime = 251;
    create_hash_table();
    EXPECT_STREQ(ht[0x64636261u % 251].head->name, "abcd");
    EXPECT_STREQ(ht[0xFFFFFF80u % 251].head->name, "\x80");
    for (unsigned i = 0; i < prime; ++i) {
        const bool used = i == 0x64636261u % 251 || i == 0xFFFFFF80u % 251;
        EXPECT_EQ(ht[i].count, used ? 1u : 0u);
        EXPECT_EQ(ht_emit[i], 0u);
    }
}

TEST_F(Model, TheHashTakesNamelenBytes) {
    fill_list({{8, "abcdZZ", "", 2}});
    dlist->namelen = 4;
    prime = 251;
    create_hash_table();
    EXPECT_EQ(ht[0x64636261u % 251].count, 1u);
}

TEST_F(Model, CleanMemoryFreesListTableAndPool) {
    fill_list({{8, "a", "////x", 2}});
    prime = 1;
    create_hash_table();
    fill_list({});
    pool_add("////y");
    clean_memory();
    EXPECT_EQ(dlist, nullptr);
    EXPECT_EQ(dlist_end, nullptr);
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(ht, nullptr);
    EXPECT_EQ(ht_emit, nullptr);
}

TEST_F(Model, CleanMemoryWorksAfterTheBucketCountChanged) {
    fill_list({{8, "a", "", 2}});
    prime = 1019;
    create_hash_table();
    prime = 4000000;
    clean_memory();
    EXPECT_EQ(ht, nullptr);
}

TEST_F(Model, CleanMemoryFreesChainsOfAnyLengthInAnyBucket) {
    std::vector<qx_test::Entry> entries;
    for (int i = 0; i < 2000; ++i) {
        // Half of them share a bucket with a single letter, the others spread.
        entries.push_back({8, i % 2 == 0 ? "a" : "n" + std::to_string(i), "", 2});
    }
    const size_t before = mallinfo2().uordblks;
    for (const unsigned buckets : {1u, 33u, 1019u}) {
        fill_list(entries);
        prime = buckets;
        create_hash_table();
        clean_memory();
    }
    EXPECT_LE(mallinfo2().uordblks, before + 4096);
}

TEST_F(Model, FreeingNothingLeavesThePool) {
    const poolstr* known = pool_add("////a");
    free_dent(nullptr);
    free_poolstr(nullptr);
    EXPECT_EQ(pool_add("////a"), known);
}

}  // namespace
