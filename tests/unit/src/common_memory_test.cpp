// Allocation and joining of texts, and the end of link chains.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "src/qxfsutil.h"
#include "tests/support/child.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::captured;
using qx_test::DebugLevel;
using qx_test::in_child;
using qx_test::TempDir;

std::string taken(char* text) {
    std::string result(text);
    free(text);
    return result;
}

TEST(Memory, XmallocGivesZeroes) {
    // Dirty memory first, so that the allocator has something to hand out again.
    void* dirty = malloc(512);
    memset(dirty, 0xAB, 512);
    free(dirty);
    auto* memory = static_cast<char*>(xmalloc(512));
    EXPECT_EQ(std::string(memory, 512), std::string(512, '\0'));
    free(memory);
}

TEST(Memory, XmallocEndsTheProcessWhenThereIsNone) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer refuses such sizes itself";
#endif
    const volatile size_t size = SIZE_MAX / 2 + 1 + 4096;
    const auto result = in_child([&] { free(xmalloc(size)); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err,
              "Error: not enough memory for 4096 bytes: Cannot allocate memory\n");
}

TEST(Memory, XstrdupGivesACopy) {
    const char text[] = "text";
    char* copy = xstrdup(text);
    EXPECT_NE(copy, text);
    EXPECT_EQ(taken(copy), "text");
}

TEST(Memory, Xstring2JoinsTwo) {
    EXPECT_EQ(taken(xstring2('/', "a", "b")), "a/b");
    EXPECT_EQ(taken(xstring2('=', "", "")), "=");
}

TEST(Memory, Xstring3JoinsThree) {
    EXPECT_EQ(taken(xstring3('/', "a", "b", "c")), "a/b/c");
    EXPECT_EQ(taken(xstring3('/', "", "", "")), "//");
}

class Realpath : public testing::Test {
protected:
    // Resolves in a buffer of its own and gives what stands there.
    int resolve(const std::string& path, size_t size = 4096) {
        path.copy(buffer_, sizeof buffer_ - 1);
        buffer_[path.size()] = '\0';
        return get_realpath(buffer_, size);
    }

    TempDir dir_;
    qx_test::WorkingDirectory inside_{dir_.path()};
    char buffer_[4096] = {};
};

TEST_F(Realpath, LeavesWhatIsNoLink) {
    const std::string file = dir_.write("file", "");
    EXPECT_EQ(resolve(file), 0);
    EXPECT_EQ(std::string(buffer_), file);
}

TEST_F(Realpath, FollowsAChainAndCountsItsLinks) {
    const std::string file = dir_.write("file", "");
    const std::string middle = dir_.make_link("middle", file);
    const std::string first = dir_.make_link("first", middle);
    EXPECT_EQ(resolve(first), 2);
    EXPECT_EQ(std::string(buffer_), file);
}

TEST_F(Realpath, TakesARelativeTargetAsItStands) {
    dir_.write("target", "");
    EXPECT_EQ(resolve(dir_.make_link("sub/link", "target")), 1);
    EXPECT_STREQ(buffer_, "target");
}

TEST_F(Realpath, CutsTheResultToTheBuffer) {
    dir_.write("target", "");
    dir_.make_link("l", "target");
    EXPECT_EQ(resolve("l", 4), 1);
    EXPECT_STREQ(buffer_, "tar");
}

TEST_F(Realpath, ShowsTheResultAtLevelFour) {
    dir_.write("target", "");
    const auto resolve_at = [&](int level) {
        return captured([&] {
                   const DebugLevel guard(level);
                   resolve("target");
               })
            .err;
    };
    EXPECT_EQ(resolve_at(4), "real path 'target'\n");
    EXPECT_EQ(resolve_at(3), "");
}

TEST_F(Realpath, GivesUpAfterAHundredLinks) {
    dir_.make_link("loop", "loop");
    EXPECT_EQ(resolve("loop"), -1);
    EXPECT_STREQ(buffer_, "loop");
}

TEST_F(Realpath, FollowsNinetyNineLinks) {
    dir_.write("link0", "");
    for (int i = 1; i <= 100; ++i) {
        dir_.make_link("link" + std::to_string(i), "link" + std::to_string(i - 1));
    }
    EXPECT_EQ(resolve("link99"), 99);
    EXPECT_EQ(resolve("link100"), -1);
}

TEST_F(Realpath, EndsTheProcessWhenNothingIsThere) {
    const auto result = in_child([&] { resolve("none"); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, "Error: Can't stat 'none': No such file or directory\n");
}

TEST_F(Realpath, EndsTheProcessAtADanglingLink) {
    dir_.make_link("dangling", "gone");
    const auto result = in_child([&] { resolve("dangling"); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, "Error: Can't stat 'gone': No such file or directory\n");
}

}  // namespace
