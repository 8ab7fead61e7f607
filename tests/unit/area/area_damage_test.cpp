// Damage of many kinds at once, and single flipped bits, over whole areas that come from a seed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>

#include "tests/unit/area/checked_area.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using qxfsutil_test::write;
using testing::IsEmpty;

using Random = std::mt19937_64;

/// Directories of the area that have an index; "" is the root.
std::vector<std::string> indexedDirectories(const std::string& root) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.path().filename() == dirindex::kIndexName) {
            const auto inside = entry.path().parent_path().lexically_relative(root).string();
            found.push_back(inside == "." ? "" : inside);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string inside(const std::string& directory, const std::string& name) {
    return directory.empty() ? name : directory + "/" + name;
}

/// Deals out damage, no two on one entry, and notes what a check must find of it.
class Damager {
public:
    Damager(qxfsutil_test::CheckedArea& area, std::uint64_t seed) : m_area(area), m_random(seed) {}

    void damageAll() {
        for (const auto& directory : indexedDirectories(m_area.builder().root())) {
            auto entries = dirindex::readIndexFile(
                               AT_FDCWD, m_area.path(inside(directory, dirindex::kIndexName)))
                               .entries;
            std::shuffle(entries.begin(), entries.end(), m_random);
            if (pick(4) == 0) {
                damageIndex(directory);
                continue;
            }
            for (const auto& entry : entries) {
                if (entry.name != "." && entry.name != ".." && pick(3) == 0) {
                    entry.link.has_value() ? damageLinked(directory, entry)
                                           : damageOwn(directory, entry);
                }
            }
            damageDirectory(directory);
        }
    }

    [[nodiscard]] const std::vector<std::string>& expected() const { return m_expected; }

private:
    std::uint64_t pick(std::uint64_t below) { return m_random() % below; }

    void expect(const char* kind, const std::string& path) {
        m_expected.push_back(std::string(kind) + " /" + path);
    }

    void damageIndex(const std::string& directory) {
        const auto index = inside(directory, dirindex::kIndexName);
        switch (pick(3)) {
            case 0:
                m_area.flipByte(index, static_cast<std::streamoff>(pick(4)), 4);
                return expect("index-damaged", directory);
            case 1:
                m_area.flipByte(index, 16 + static_cast<std::streamoff>(pick(4)), 1);
                return expect("checksum-wrong", directory);
            default: {
                std::fstream file(m_area.path(index),
                                  std::ios::in | std::ios::out | std::ios::binary);
                file.seekp(16);
                file.write("\xd4\x1d\x8c\xd9", 4);
                return expect("checksum-absent", directory);
            }
        }
    }

    void damageLinked(const std::string& directory, const dirindex::IndexEntry& entry) {
        const auto path = inside(directory, entry.name);
        const auto file = m_area.templateFile(path);
        struct stat info {};
        ASSERT_EQ(0, lstat(file.c_str(), &info));
        // Of a link that had to stay in place, the link is what would be found.
        const bool isInPlace = fs::exists(fs::symlink_status(m_area.path(path)));
        switch (pick(isInPlace ? 2 : 6)) {
            case 0:
                m_area.changeEntry(directory, entry.name,
                                   [](dirindex::IndexEntry& changed) { changed.ino ^= 64; });
                return expect("template-inode-changed", path);
            case 1:
                m_area.rewriteIndex(directory, [&](std::vector<dirindex::IndexEntry>& entries) {
                    entries.push_back(entry);
                });
                return expect("entry-double", path);
            case 2:
                unlink(file.c_str());
                return expect("link-lost", path);
            case 3:
                unlink(file.c_str());
                ASSERT_EQ(0, symlink("elsewhere", file.c_str()));
                return expect("template-type-changed", path);
            case 4:
                write(m_area.path(path), qx_test::AreaBuilder::linkTo(path));
                chmod(m_area.path(path).c_str(), (info.st_mode & 07777) | S_ISVTX);
                return expect("link-left", path);
            default:
                write(m_area.path(path), "the container's own");
                return expect("entry-shadowed", path);
        }
    }

    void damageOwn(const std::string& directory, const dirindex::IndexEntry& entry) {
        constexpr std::uint8_t kDirectory = 4;
        constexpr std::uint8_t kFifo = 1;
        const auto path = inside(directory, entry.name);
        switch (pick(3)) {
            case 0:
                if (entry.type != kDirectory) {
                    unlink(m_area.path(path).c_str());
                    return expect("entry-gone", path);
                }
                return;
            case 1:
                m_area.changeEntry(directory, entry.name,
                                   [](dirindex::IndexEntry& changed) { changed.type = kFifo; });
                return expect("entry-type-changed", path);
            default:
                m_area.changeEntry(directory, entry.name,
                                   [](dirindex::IndexEntry& changed) { changed.ino += 2; });
                return expect("entry-inode-changed", path);
        }
    }

    /// What is not about an entry of the index. The left-over comes last: whoever writes an index
    /// clears it away.
    void damageDirectory(const std::string& directory) {
        if (pick(3) == 0) {
            write(m_area.path(inside(directory, "added")), "new");
            expect("name-not-indexed", inside(directory, "added"));
        }
        if (pick(3) == 0) {
            const auto path = inside(directory, "gone");
            write(m_area.path(path), qx_test::AreaBuilder::linkTo(path));
            chmod(m_area.path(path).c_str(), 01644);
            expect("shortcut-lost", path);
        }
        if (pick(3) == 0) {
            m_area.rewriteIndex(directory, [&](std::vector<dirindex::IndexEntry>& entries) {
                entries.push_back({8, 1, "../sh", qx_test::AreaBuilder::linkTo("bin")});
            });
            expect("entry-name-bad", directory);
        }
        if (pick(3) == 0) {
            struct stat info {};
            ASSERT_EQ(0, lstat(m_area.path(directory).c_str(), &info));
            chmod(m_area.path(directory).c_str(), info.st_mode & 01777);
            expect("mark-missing", directory);
        }
        if (pick(3) == 0) {
            write(m_area.path(inside(directory, dirindex::kNewIndexName)), "half an index");
            expect("temporary-left", inside(directory, dirindex::kNewIndexName));
        }
    }

    qxfsutil_test::CheckedArea& m_area;
    Random m_random;
    std::vector<std::string> m_expected;
};

/// What stands in only one of the lists, or in one of them more often, one finding a line.
std::string difference(std::vector<std::string> expected, std::vector<std::string> found) {
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    std::vector<std::string> only;
    std::string text;
    std::set_difference(expected.begin(), expected.end(), found.begin(), found.end(),
                        std::back_inserter(only));
    for (const auto& finding : only) {
        text += "not found: " + dirindex::escaped(finding) + "\n";
    }
    only.clear();
    std::set_difference(found.begin(), found.end(), expected.begin(), expected.end(),
                        std::back_inserter(only));
    for (const auto& finding : only) {
        text += "not expected: " + dirindex::escaped(finding) + "\n";
    }
    return text;
}

class CombinedDamage : public testing::TestWithParam<std::uint64_t> {
protected:
    void SetUp() override {
        qx_test::AreaBuilder::Shape shape;
        shape.specialFiles = false;
        m_area.builder().fill(GetParam(), shape);
        m_area.index(true);
        ASSERT_THAT(m_area.check(), IsEmpty());
    }

    qxfsutil_test::CheckedArea m_area;
};

TEST_P(CombinedDamage, isFoundOnceEachRepairedAndUndoneToTheByte) {
    Damager damager(m_area, GetParam() + 1000);
    damager.damageAll();
    const auto damaged = qx_test::snapshot(m_area.area().privateDir);

    EXPECT_EQ("", difference(damager.expected(), m_area.check()));
    EXPECT_TRUE(damaged == qx_test::snapshot(m_area.area().privateDir));

    m_area.check(RepairMode::yes);
    EXPECT_EQ(m_area.summary().findings, m_area.summary().repaired);
    EXPECT_EQ("", difference({}, m_area.check()));

    m_area.undo();
    EXPECT_TRUE(damaged == qx_test::snapshot(m_area.area().privateDir));
}

INSTANTIATE_TEST_SUITE_P(seeds, CombinedDamage, testing::Range<std::uint64_t>(1, 41));

using Names = std::set<std::pair<std::string, std::string>>;

/// What the indexes of an area hold, each name with its directory.
Names namesInIndexes(const std::string& root) {
    Names names;
    for (const auto& directory : indexedDirectories(root)) {
        const auto index =
            dirindex::readIndexFile(AT_FDCWD, root + "/" + inside(directory, dirindex::kIndexName));
        for (const auto& entry : index.entries) {
            names.emplace(directory, entry.name);
        }
    }
    return names;
}

/// Whether a finding is about the entry, or about the whole index that held it.
bool isNamed(const std::vector<std::string>& found, const std::string& directory,
             const std::string& name) {
    return std::any_of(found.begin(), found.end(), [&](const std::string& finding) {
        return finding == "index-damaged /" + directory ||
               finding.ends_with(" /" + inside(directory, name)) ||
               finding == "entry-name-bad /" + directory;
    });
}

class FlippedBits : public testing::TestWithParam<std::uint64_t> {};

TEST_P(FlippedBits, areEachFoundAndRepairedOrTold) {
    constexpr int kFlips = 100;
    qxfsutil_test::CheckedArea area;
    qx_test::AreaBuilder::Shape shape;
    shape.specialFiles = false;
    area.builder().fill(GetParam(), shape);
    area.index(true);
    const auto root = area.builder().root();
    const auto directories = indexedDirectories(root);
    ASSERT_FALSE(directories.empty());
    const auto names = namesInIndexes(root);
    const auto whole = qx_test::snapshot(area.area().privateDir);
    Random random(GetParam());
    for (int flip = 0; flip < kFlips; ++flip) {
        const auto& directory = directories[random() % directories.size()];
        const auto index = inside(directory, dirindex::kIndexName);
        const auto bit = random() % (fs::file_size(area.path(index)) * 8);
        SCOPED_TRACE("bit " + std::to_string(bit) + " of /" + dirindex::escaped(directory));
        const auto offset = static_cast<std::streamoff>(bit / 8);
        const auto mask = static_cast<char>(1U << (bit % 8));
        const auto time = fs::last_write_time(area.path(index));
        area.flipByte(index, offset, mask);
        const auto flipped = qx_test::snapshot(area.area().privateDir);

        ASSERT_FALSE(area.check().empty());
        const auto repaired = area.check(RepairMode::yes);
        const auto left = area.check();

        EXPECT_EQ(left.size(), area.summary().notesLeft + area.summary().errorsLeft);
        const auto now = namesInIndexes(root);
        for (const auto& [where, name] : names) {
            EXPECT_TRUE(now.contains({where, name}) || isNamed(repaired, where, name) ||
                        isNamed(left, where, name))
                << dirindex::escaped(where) << " " << dirindex::escaped(name);
        }
        area.undo();
        ASSERT_TRUE(flipped == qx_test::snapshot(area.area().privateDir));
        area.flipByte(index, offset, mask);
        fs::last_write_time(area.path(index), time);
        ASSERT_TRUE(whole == qx_test::snapshot(area.area().privateDir));
    }
}

INSTANTIATE_TEST_SUITE_P(seeds, FlippedBits, testing::Range<std::uint64_t>(1, 6));

}  // namespace
}  // namespace qxfs
