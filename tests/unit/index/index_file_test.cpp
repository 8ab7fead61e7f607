// Index files of every size as the tool reads them, and the set of names that a check keeps.
#include "src/index/index_file.h"
#include "base/name_table.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/colliding_names.h"
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
    for (const std::size_t count : {1U, 50U, 300U, 20000U}) {
        std::vector<IndexEntry> entries;
        for (std::size_t i = 0; i < count; ++i) {
            entries.push_back({8, static_cast<std::uint32_t>(i), "name" + std::to_string(i),
                               "////d" + std::to_string(i % 3)});
        }

        const auto index = readIndexFile(AT_FDCWD, indexOf(entries));

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
    ASSERT_TRUE(readIndexFile(AT_FDCWD, indexOf(many)).sound);

    const auto index = readIndexFile(AT_FDCWD, indexOf({{8, 2, "a", std::nullopt}}));

    EXPECT_EQ(ChecksumState::good, index.checksum);
    EXPECT_EQ((std::vector<IndexEntry>{{8, 2, "a", std::nullopt}}), index.entries);
}

TEST_F(IndexFiles, areReadWithoutAWordAndLeaveNothingBehind) {
    const auto path = indexOf({{8, 3, "a", "////os"}});
    clean_memory();
    qxfsutil_debug_level = 4;

    const auto output = qx_test::captured([&] { readIndexFile(AT_FDCWD, path); });

    qxfsutil_debug_level = 0;
    EXPECT_EQ("", output.out + output.err);
    EXPECT_EQ(nullptr, dlist);
    EXPECT_EQ(nullptr, pool);
}

TEST_F(IndexFiles, areReadAndMadeByManyThreadsAtOnce) {
    std::vector<std::vector<IndexEntry>> all;
    for (std::uint32_t thread = 0; thread < 4; ++thread) {
        auto& entries = all.emplace_back();
        for (std::uint32_t i = 0; i < 2000; ++i) {
            entries.push_back({8, i, "t" + std::to_string(thread) + "n" + std::to_string(i),
                               "////d" + std::to_string(i % 7)});
        }
    }
    std::array<bool, 4> same{};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < all.size(); ++i) {
        threads.emplace_back([&, i] {
            bool good = true;
            for (int round = 0; round < 20; ++round) {
                std::string bytes;
                std::string error;
                good = good && buildIndex(all[i], bytes, error);
                const auto index = decodeIndex(bytes);
                good = good && index.checksum == ChecksumState::good &&
                       index.unkeptPromise.empty() && index.entries.size() == all[i].size();
                for (const auto& entry : index.entries) {
                    good = good && all[i][entry.ino] == entry;
                }
            }
            same[i] = good;
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    EXPECT_EQ((std::array<bool, 4>{true, true, true, true}), same);
}

TEST_F(IndexFiles, thatAreTooLargeAreReadableButNotSound) {
    const auto path = m_folder.write("large", "");
    ASSERT_EQ(0, truncate(path.c_str(), static_cast<off_t>(kMaxIndexSize) + 1));

    const auto index = readIndexFile(AT_FDCWD, path);

    EXPECT_TRUE(index.readable);
    EXPECT_FALSE(index.sound);
    EXPECT_EQ("the file is too large", index.reason);
}

TEST_F(IndexFiles, thatCannotBeReadSayWhy) {
    EXPECT_EQ("the file is empty", readIndexFile(AT_FDCWD, m_folder.write("empty", "")).reason);
    EXPECT_EQ("No such file or directory", readIndexFile(AT_FDCWD, m_folder.path("none")).reason);
    EXPECT_FALSE(readIndexFile(AT_FDCWD, m_folder.make_dir("directory")).readable);
}

TEST_F(IndexFiles, areReadOnlyFromRegularFilesAndThroughNoLink) {
    const auto index = indexOf({{8, 2, "a", std::nullopt}});
    ASSERT_EQ(0, mkfifo(m_folder.path("pipe").c_str(), 0600));

    EXPECT_EQ("not a regular file", readIndexFile(AT_FDCWD, m_folder.path("pipe")).reason);
    EXPECT_FALSE(readIndexFile(AT_FDCWD, m_folder.make_link("link", index)).readable);
}

class KeptPromises : public testing::Test {
protected:
    KeptPromises() {
        std::vector<IndexEntry> entries;
        for (std::uint32_t i = 0; i < 20; ++i) {
            entries.push_back({static_cast<std::uint8_t>(i < 3 ? 4 : 8), 2 * i,
                               "name" + std::to_string(i), std::nullopt});
        }
        std::string error;
        EXPECT_TRUE(buildIndex(entries, m_bytes, error)) << error;
    }

    [[nodiscard]] std::uint32_t number(std::size_t at) const {
        std::uint32_t value = 0;
        std::memcpy(&value, m_bytes.data() + at, sizeof value);
        return value;
    }
    void put(std::size_t at, std::uint32_t value) {
        std::memcpy(m_bytes.data() + at, &value, sizeof value);
    }
    [[nodiscard]] std::string unkept() const {
        const auto index = decodeIndex(m_bytes);
        EXPECT_TRUE(index.sound);
        return index.unkeptPromise;
    }

    std::string m_bytes;
};

TEST_F(KeptPromises, areAllThatTheWriterGives) {
    EXPECT_EQ("", unkept());
}

TEST_F(KeptPromises, countTheDirectories) {
    put(8, 4);

    EXPECT_EQ("it counts 4 directories, not 3", unkept());
}

TEST_F(KeptPromises, findEveryEntryByItsName) {
    // The first bucket that is in use gives its records to one that is not.
    std::size_t used = 20;
    while (number(used) == 0) {
        used += 4;
    }
    std::size_t unused = 20;
    while (number(unused) != 0) {
        unused += 4;
    }
    put(unused, number(used));
    put(used, 0);

    EXPECT_THAT(unkept(), testing::HasSubstr("are not found by their names"));
}

TEST_F(KeptPromises, listEveryEntry) {
    m_bytes[number(4) + 1] |= 2;

    EXPECT_EQ("19 of 20 entries are not listed", unkept());
}

TEST_F(KeptPromises, markTheEnd) {
    std::uint32_t last = number(4);
    while (last + number(last + 4) < m_bytes.size()) {
        last += number(last + 4);
    }
    m_bytes[last + 1] &= ~2;

    EXPECT_EQ("its end is not marked", unkept());
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

TEST(NameTables, costNoMoreForNamesThatCollideForAPlainHash) {
    const auto names = qx_test::namesOfEightBytes(5000, true);
    for (const auto& name : names) {
        ASSERT_EQ(0x12345678U, static_cast<std::uint32_t>(std::hash<std::string_view>{}(name)));
    }
    base::NameTable table;
    for (const auto& name : names) {
        table.insert(name);
    }

    EXPECT_LT(table.longestSearch(), 200U);
}

TEST(SharedTexts, areEqualByWhatTheySay) {
    EXPECT_EQ(SharedText("a"), SharedText(std::string("a")));
    EXPECT_FALSE(SharedText("a") == SharedText("b"));
    EXPECT_FALSE(SharedText("") == SharedText());
    EXPECT_EQ("none", SharedText().value_or("none"));
}

}  // namespace
}  // namespace dirindex
