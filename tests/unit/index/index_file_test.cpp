// Index files of every size as the tool reads them, and the set of names that a check keeps.
#include "src/index/index_file.h"
#include "base/name_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

namespace dirindex {
namespace {

class IndexFiles : public testing::Test {
protected:
    std::string indexOf(const std::vector<IndexEntry>& entries) {
        std::string bytes;
        std::string error;
        EXPECT_TRUE(buildIndex(entries, bytes, error)) << error;
        return m_folder.write("index", bytes);
    }

    qx_test::TempDir m_folder;
};

TEST_F(IndexFiles, areReadWholeWhateverTheirSize) {
    // The larger ones are mapped.
    for (const std::size_t count : {1U, 50U, 300U, 20000U}) {
        std::vector<IndexEntry> entries;
        for (std::size_t i = 0; i < count; ++i) {
            entries.push_back({8, static_cast<std::uint32_t>(i), "name" + std::to_string(i),
                               "////d" + std::to_string(i % 3)});
        }

        const auto index = readIndexFile(indexOf(entries));

        EXPECT_EQ(ChecksumState::good, index.checksum);
        ASSERT_EQ(count, index.entries.size());
        for (const auto& entry : index.entries) {
            EXPECT_EQ(entries.at(entry.ino), entry);
        }
    }
}

TEST_F(IndexFiles, aSmallOneReadAfterALargeOneHoldsNothingOfIt) {
    std::vector<IndexEntry> many;
    for (std::uint32_t i = 0; i < 1000; ++i) {
        many.push_back({8, i, "name" + std::to_string(i), std::nullopt});
    }
    ASSERT_TRUE(readIndexFile(indexOf(many)).sound);

    const auto index = readIndexFile(indexOf({{8, 2, "a", std::nullopt}}));

    EXPECT_EQ(ChecksumState::good, index.checksum);
    EXPECT_EQ((std::vector<IndexEntry>{{8, 2, "a", std::nullopt}}), index.entries);
}

TEST_F(IndexFiles, areNotWarnedOfWhenTheyAreSoundAndMessagesAreShown) {
    const auto path = indexOf({{8, 2, "a", std::nullopt}});
    qxfsutil_debug_level = 4;

    const auto output = qx_test::captured([&] { readIndexFile(path); });

    qxfsutil_debug_level = 0;
    EXPECT_EQ(std::string::npos, (output.out + output.err).find("WARNING"));
    EXPECT_NE(std::string::npos, (output.out + output.err).find("\ta\n"));
}

TEST_F(IndexFiles, thatCannotBeReadSayWhy) {
    EXPECT_EQ("the file is empty", readIndexFile(m_folder.write("empty", "")).reason);
    EXPECT_EQ("No such file or directory", readIndexFile(m_folder.path("none")).reason);
    EXPECT_FALSE(readIndexFile(m_folder.make_dir("directory")).readable);
}

TEST(NameTables, numberEveryNameOnceWhileTheyGrow) {
    std::vector<std::string> names{""};
    for (int i = 0; i < 5000; ++i) {
        names.push_back("n" + std::to_string(i));
    }
    base::NameTable table;
    EXPECT_EQ(base::NameTable::kNone, table.find("n1"));
    for (const auto& name : names) {
        EXPECT_EQ(base::NameTable::kNone, table.find(name));
        EXPECT_TRUE(table.insert(name));
        EXPECT_FALSE(table.insert(name));
    }
    for (std::uint32_t number = 0; number < names.size(); ++number) {
        EXPECT_EQ(number, table.find(names[number]));
    }
    EXPECT_EQ(base::NameTable::kNone, table.find("n5000"));
}

TEST(SharedTexts, areEqualByWhatTheySay) {
    EXPECT_EQ(SharedText("a"), SharedText(std::string("a")));
    EXPECT_FALSE(SharedText("a") == SharedText("b"));
    EXPECT_FALSE(SharedText("") == SharedText());
    EXPECT_EQ("none", SharedText().value_or("none"));
}

}  // namespace
}  // namespace dirindex
