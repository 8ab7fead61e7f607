// The text form of an index, and the way there and back.
#include "src/index/index_text.h"

#include <gtest/gtest.h>

#include "src/index/index_file.h"
#include "src/index/index_image.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"

namespace dirindex {
namespace {

IndexText sample() {
    IndexText text;
    text.entries = {{4, 2468, "bin", std::nullopt},
                    {8, 1357, "libc.so", "////os/lib"},
                    {10, 7, std::string("a\"b\\c\n\xff", 7), std::nullopt},
                    {3, 0xffffffff, "odd type", "////"}};
    text.size = 4120;
    text.patches = {{16, std::string("\xd4\x1d\x00\xd9", 4)}};
    return text;
}

IndexText parsed(const std::string& text) {
    IndexText index;
    std::string error;
    EXPECT_TRUE(parseIndex(text, index, error)) << error;
    return index;
}

std::string faultOf(const std::string& line) {
    IndexText index;
    std::string error;
    EXPECT_FALSE(parseIndex("qxdirindex 1\n" + line + "\n", index, error)) << line;
    return error;
}

TEST(IndexText, readsBackEqualWhateverBytesNamesHold) {
    EXPECT_EQ(sample(), parsed(formatIndex(sample())));
}

TEST(IndexText, isOneLineAnEntryOfPrintableAscii) {
    EXPECT_EQ(
        "qxdirindex 1\n"
        "entry d 2468 \"bin\"\n"
        "entry - 1357 \"libc.so\" -> \"////os/lib\"\n"
        "entry l 7 \"a\\x22b\\x5cc\\x0a\\xff\"\n"
        "entry 3 4294967295 \"odd type\" -> \"////\"\n"
        "size 4120\n"
        "bytes 16 d41d00d9\n",
        formatIndex(sample()));
}

TEST(IndexText, emptyLinesAndRemarksAreSkipped) {
    EXPECT_EQ(1U, parsed("qxdirindex 1\n\n# a remark\nentry - 2 \"a\"\n").entries.size());
}

TEST(IndexText, aLastLineWithoutItsEndCounts) {
    EXPECT_EQ(1U, parsed("qxdirindex 1\nentry - 2 \"a\"").entries.size());
}

TEST(IndexText, anotherFirstLineIsRefused) {
    IndexText index;
    std::string error;
    EXPECT_FALSE(parseIndex("qxdirindex 2\n", index, error));
    EXPECT_EQ("line 1: the first line is not \"qxdirindex 1\"", error);
    EXPECT_FALSE(parseIndex("", index, error));
}

TEST(IndexText, faultsNameTheLineAndTheReason) {
    EXPECT_EQ("line 2: a line begins with entry, size or bytes", faultOf("record - 1 \"a\""));
    EXPECT_EQ("line 2: a type is a letter of pcdb-lsw or a number up to 255",
              faultOf("entry 256 1 \"a\""));
    EXPECT_EQ("line 2: an inode tag is a number of 32 bits", faultOf("entry - 4294967296 \"a\""));
    EXPECT_EQ("line 2: a name stands between double quotes and holds no NUL",
              faultOf("entry - 1 \"a"));
    EXPECT_EQ("line 2: a name stands between double quotes and holds no NUL",
              faultOf("entry - 1 \"\\x00\""));
    EXPECT_EQ("line 2: a name stands between double quotes and holds no NUL",
              faultOf("entry - 1 \"\\xg1\""));
    EXPECT_EQ("line 2: a link stands between double quotes and holds no NUL",
              faultOf("entry - 1 \"a\" -> b"));
    EXPECT_EQ("line 2: something follows the entry", faultOf("entry - 1 \"a\" b"));
    EXPECT_EQ("line 2: a size is a number up to 1 GiB", faultOf("size 1073741825"));
    EXPECT_EQ("line 2: bytes are an offset and an even number of hexadecimal digits",
              faultOf("bytes 1 abc"));
    EXPECT_EQ("line 2: bytes lie beyond the largest file", faultOf("bytes 1073741824 abcd"));
}

TEST(IndexImage, isBuiltAgainByteForByteFromItsDump) {
    const qx_test::TempDir folder;
    std::vector<IndexEntry> entries;
    for (int i = 0; i < 700; ++i) {
        const auto link = i % 3 == 0 ? SharedText("////d" + std::to_string(i % 7)) : SharedText();
        entries.push_back({8, static_cast<std::uint32_t>(i), "n" + std::to_string(i), link});
    }
    std::string bytes;
    std::string error;
    ASSERT_TRUE(buildIndex(entries, bytes, error)) << error;

    IndexText text;
    ASSERT_TRUE(dumpImage(bytes, text, error)) << error;
    std::string rebuilt;
    ASSERT_TRUE(buildImage(parsed(formatIndex(text)), rebuilt, error)) << error;

    EXPECT_TRUE(text.patches.empty());
    EXPECT_EQ(bytes, rebuilt);
}

TEST(IndexImage, ofAnIndexWithAnotherChecksumComesBackWithThatChecksum) {
    std::string bytes;
    std::string error;
    ASSERT_TRUE(buildIndex({{8, 2, "a", std::nullopt}}, bytes, error)) << error;
    bytes.replace(16, 4, "\xd4\x1d\x8c\xd9");

    IndexText text;
    ASSERT_TRUE(dumpImage(bytes, text, error)) << error;
    std::string rebuilt;
    ASSERT_TRUE(buildImage(text, rebuilt, error)) << error;

    ASSERT_EQ(1U, text.patches.size());
    EXPECT_EQ(bytes, rebuilt);
}

TEST(IndexImage, ofADamagedIndexIsRefused) {
    IndexText text;
    std::string error;
    EXPECT_FALSE(dumpImage("no index at all, but long enough", text, error));
    EXPECT_EQ("its structure does not hold", error);
}

TEST(IndexImage, bytesOutsideTheFileAreRefused) {
    IndexText text;
    text.entries = {{8, 2, "a", std::nullopt}};
    text.patches = {{100000, "x"}};
    std::string bytes;
    std::string error;
    EXPECT_FALSE(buildImage(text, bytes, error));
    EXPECT_EQ("bytes at 100000 lie outside the file", error);
}

TEST(BuildIndex, aNameThatNoIndexCanHoldIsRefused) {
    std::string bytes;
    std::string error;
    EXPECT_FALSE(buildIndex({{8, 2, std::string(257, 'n'), std::nullopt}}, bytes, error));
    EXPECT_NE(std::string::npos, error.find("is too long for an index"));
}

}  // namespace
}  // namespace dirindex
