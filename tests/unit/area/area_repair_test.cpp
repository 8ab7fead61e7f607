// What repairs bring back, keep, and tell of beside the kinds of damage themselves.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "src/area/area.h"
#include "src/index/format.h"
#include "tests/unit/area/checked_area.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using qxfsutil_test::write;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr int kFiles = 24;

/// An indexed area whose /bin has two dozen template files.
class Repair : public testing::Test {
protected:
    Repair() {
        for (int i = 0; i < kFiles; ++i) {
            m_area.builder().shortcut("bin/f" + std::to_string(i), "text", 0755);
        }
        m_area.builder().file("etc/own", "mine");
        m_area.builder().shortcut("etc/passwd", "accounts");
        m_area.index();
        EXPECT_THAT(m_area.check(), IsEmpty());
    }

    [[nodiscard]] std::string indexOf(const std::string& directory) const {
        return m_area.path(directory + "/" + dirindex::kIndexName);
    }

    /// Names that an index shows as template files.
    [[nodiscard]] std::vector<std::string> linkedIn(const std::string& directory) const {
        std::vector<std::string> names;
        for (const auto& entry : dirindex::readIndexFile(AT_FDCWD, indexOf(directory)).entries) {
            if (entry.link.has_value()) {
                names.push_back(entry.name);
            }
        }
        return names;
    }

    [[nodiscard]] std::streamoff placeOf(const std::string& directory,
                                         const std::string& text) const {
        const auto place = qx_test::read_file(indexOf(directory)).find(text);
        EXPECT_NE(std::string::npos, place);
        return static_cast<std::streamoff>(place);
    }

    void shortcut(const std::string& name, const std::string& link, unsigned mode = 01644) const {
        write(m_area.path(name), link);
        ASSERT_EQ(0, chmod(m_area.path(name).c_str(), mode));
    }

    /// Repairs, and finds a clean area afterwards; the undone repair leaves what was damaged.
    std::vector<std::string> repairAll(bool clean = true) {
        const auto damaged = qx_test::snapshot(m_area.area().privateDir);
        m_area.check(RepairMode::yes);
        m_area.undo();
        EXPECT_TRUE(damaged == qx_test::snapshot(m_area.area().privateDir));
        auto found = m_area.check(RepairMode::yes);
        m_repaired = m_area.summary();
        if (clean) {
            EXPECT_THAT(m_area.check(), IsEmpty());
        }
        return found;
    }

    qxfsutil_test::CheckedArea m_area;
    CheckSummary m_repaired;
};

TEST_F(Repair, keepsAllEntriesOfALinkStringInWhichOneBitIsFlipped) {
    m_area.flipByte("bin/._qxlnk_.", placeOf("bin", "////os/1/root/bin") + 5, 4);

    repairAll();

    EXPECT_EQ(0U, m_repaired.errorsLeft);
    EXPECT_EQ(kFiles, static_cast<int>(linkedIn("bin").size()));
}

TEST_F(Repair, correctsEveryFlippedBitOfASmallIndex) {
    const auto whole = qx_test::read_file(indexOf("etc"));
    const auto names = linkedIn("etc");
    for (std::size_t bit = 0; bit < whole.size() * 8; bit += 3) {
        SCOPED_TRACE(bit);
        m_area.flipByte("etc/._qxlnk_.", static_cast<std::streamoff>(bit / 8),
                        static_cast<char>(1U << (bit % 8)));

        m_area.check(RepairMode::yes);

        ASSERT_EQ(0U, m_area.summary().errorsLeft);
        ASSERT_EQ(names, linkedIn("etc"));
        ASSERT_TRUE(fs::exists(m_area.path("etc/own")));
    }
}

TEST_F(Repair, setsAttributesOnlyWhenItIsToldTo) {
    ASSERT_EQ(0, chmod(m_area.templateFile("etc/passwd").c_str(), 0640));
    shortcut("etc/passwd", qx_test::AreaBuilder::linkTo("etc/passwd"), 01600);

    m_area.check(RepairMode::yes);
    struct stat info {};
    ASSERT_EQ(0, stat(m_area.path("etc/passwd").c_str(), &info));
    EXPECT_EQ(01600U, info.st_mode & 07777);

    RepairPolicy policy(RepairMode::yes);
    policy.setAttributes = true;
    m_area.check(policy);
    ASSERT_EQ(0, stat(m_area.path("etc/passwd").c_str(), &info));
    EXPECT_EQ(01640U, info.st_mode & 07777);
}

TEST_F(Repair, setsTheOwnerOfAMagicSymlinkAndLeavesItsMode) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root gives files away";
    }
    m_area.builder().magicSymlink("lib/c", "library");
    m_area.check(RepairMode::yes);
    ASSERT_EQ(0, lchown(m_area.path("lib/c").c_str(), 5, 6));
    RepairPolicy policy(RepairMode::yes);
    policy.setAttributes = true;

    EXPECT_THAT(m_area.check(policy), ElementsAre("attributes-differ /lib/c"));

    struct stat info {};
    ASSERT_EQ(0, lstat(m_area.path("lib/c").c_str(), &info));
    EXPECT_EQ(0U, info.st_uid);
    EXPECT_EQ(1U, m_area.summary().repaired);
    m_area.undo();
    ASSERT_EQ(0, lstat(m_area.path("lib/c").c_str(), &info));
    EXPECT_EQ(5U, info.st_uid);
}

TEST_F(Repair, doesNotWalkADirectoryThatItMovedAside) {
    fs::create_directories(m_area.path("bin/f0/below"));

    EXPECT_THAT(repairAll(), ElementsAre("entry-shadowed /bin/f0"));

    EXPECT_THAT(m_repaired.failures, IsEmpty());
    EXPECT_EQ(0U, m_repaired.errorsLeft);
    EXPECT_TRUE(fs::exists(m_area.area().privateDir + "/lost_files/root/bin/f0/below"));
}

TEST_F(Repair, ofAnEmptyIndexSaysThatEntriesAreLost) {
    fs::resize_file(indexOf("bin"), 0);

    EXPECT_THAT(repairAll(), ElementsAre("index-damaged /bin", "entries-lost /bin"));

    EXPECT_EQ(1U, m_repaired.errorsLeft);
}

TEST_F(Repair, ofAnIndexThatIsTooLargeMovesItAside) {
    fs::resize_file(indexOf("bin"), kMaxRecordedContent + 1);

    EXPECT_THAT(m_area.check(RepairMode::yes),
                IsSupersetOf({"index-damaged /bin", "entries-lost /bin"}));

    EXPECT_THAT(m_area.check(), IsEmpty());
    EXPECT_EQ(kMaxRecordedContent + 1,
              fs::file_size(m_area.area().privateDir + "/lost_files/root/bin/._qxlnk_."));
}

TEST_F(Repair, keepsEntriesOfADamagedIndexWhoseTemplateFileIsGoneAndNamesThem) {
    ASSERT_EQ(0, unlink(m_area.templateFile("bin/f3").c_str()));
    m_area.flipByte("bin/._qxlnk_.", 0, 3);  // two bits, so that nothing tells what they were

    EXPECT_THAT(repairAll(false), ElementsAre("index-damaged /bin", "link-lost /bin/f3"));

    EXPECT_EQ(1U, m_repaired.errorsLeft);
    EXPECT_THAT(m_area.check(), ElementsAre("link-lost /bin/f3"));
    EXPECT_EQ(kFiles, static_cast<int>(linkedIn("bin").size()));
}

TEST_F(Repair, keepsWhatCanBeReadOfAnIndexThatWasWrittenOverInPart) {
    std::fstream file(indexOf("bin"), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(placeOf("bin", "f12") - 16);
    file << std::string(16, '\xff');
    file.close();

    EXPECT_THAT(repairAll(), ElementsAre("index-damaged /bin", "entries-lost /bin"));

    EXPECT_THAT(linkedIn("bin"), Not(Contains("f12")));
    EXPECT_EQ(kFiles - 1, static_cast<int>(linkedIn("bin").size()));
}

TEST_F(Repair, takesANewShortcutIntoTheIndexAndOutOfItsPlaceInOneRun) {
    m_area.builder().templateOnly("bin/new", "new");
    shortcut("bin/new", qx_test::AreaBuilder::linkTo("bin/new"));

    EXPECT_THAT(repairAll(), ElementsAre("name-not-indexed /bin/new"));

    EXPECT_THAT(linkedIn("bin"), Contains("new"));
    EXPECT_FALSE(fs::exists(m_area.path("bin/new")));
}

TEST_F(Repair, leavesALinkInPlaceThatHasAnotherName) {
    m_area.builder().templateOnly("bin/new", "new");
    shortcut("bin/new", qx_test::AreaBuilder::linkTo("bin/new"));
    fs::create_hard_link(m_area.path("bin/new"), m_area.path("etc/other"));

    repairAll();

    EXPECT_TRUE(fs::exists(m_area.path("bin/new")));
    EXPECT_TRUE(fs::exists(m_area.path("etc/other")));
}

TEST_F(Repair, takesTheMarkFromADirectoryWhoseMagicIndexLeadsNowhere) {
    fs::create_directory(m_area.path("magic"));
    m_area.builder().templateOnly("present", "");
    ASSERT_EQ(0, symlink("////os/1/root/gone", indexOf("magic").c_str()));
    ASSERT_EQ(0, chmod(m_area.path("magic").c_str(), 04755));
    m_area.rewriteIndex("", [&](std::vector<dirindex::IndexEntry>& entries) {
        struct stat info {};
        ASSERT_EQ(0, stat(m_area.path("magic").c_str(), &info));
        entries.push_back({4, ownTag(info), "magic", std::nullopt});
    });

    EXPECT_THAT(repairAll(), ElementsAre("shortcut-lost /magic/._qxlnk_."));

    struct stat info {};
    ASSERT_EQ(0, stat(m_area.path("magic").c_str(), &info));
    EXPECT_EQ(0755U, info.st_mode & 07777);
}

TEST_F(Repair, givesAnEntryWithoutTemplateFileWhatStandsInItsPlace) {
    m_area.builder().templateOnly("bin/other", "other");
    ASSERT_EQ(0, unlink(m_area.templateFile("bin/f1").c_str()));
    shortcut("bin/f1", qx_test::AreaBuilder::linkTo("bin/other"));

    repairAll();

    EXPECT_TRUE(fs::exists(m_area.path("bin/f1")));
    EXPECT_THAT(linkedIn("bin"), Not(Contains("f1")));
}

TEST_F(Repair, leavesAFileOfTheContainerThatHasANameOfOurs) {
    write(m_area.path("etc/._qxlnk_.~0"), "the container's");
    m_area.check(RepairMode::yes);
    m_area.flipByte("etc/._qxlnk_.", 0, 1);

    repairAll();

    EXPECT_EQ("the container's", qx_test::read_file(m_area.path("etc/._qxlnk_.~0")));
    EXPECT_FALSE(fs::exists(m_area.area().privateDir + "/.qxfsutil"));
}

TEST_F(Repair, undoneLeavesLostFilesAsTheyWere) {
    fs::create_directories(m_area.area().privateDir + "/lost_files/root/bin");
    write(m_area.area().privateDir + "/lost_files/root/bin/f9", "of an earlier repair");
    write(m_area.path("bin/f0"), "the container's own");

    EXPECT_THAT(repairAll(), ElementsAre("entry-shadowed /bin/f0"));
}

TEST_F(Repair, changesNothingThatCannotBeWrittenDownBefore) {
    shortcut("bin/f0", qx_test::AreaBuilder::linkTo("bin/f0"), 01755);
    write(m_area.path("bin/f1"), "the container's own");
    m_area.flipByte("bin/._qxlnk_.", 16, 1);
    const auto before = qx_test::snapshot(m_area.area().privateDir);
    const auto full = [](rlim_t size) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = size;
        setrlimit(RLIMIT_FSIZE, &limit);
    };

    full(300);
    const auto failures = m_area.checkFailing(RepairMode::yes);
    full(RLIM_INFINITY);

    EXPECT_THAT(failures, Not(IsEmpty()));
    EXPECT_EQ(0U, m_area.summary().repaired);
    EXPECT_TRUE(before == qx_test::snapshot(m_area.area().privateDir));
    EXPECT_THAT(repairAll(), Not(IsEmpty()));
}

/// An index of 8 MiB in which every place looks like a record with a name and one long link string.
std::string hostileIndex(bool whole) {
    std::string bytes(std::size_t{8} << 20, '\0');
    const auto put = [&](std::size_t place, const auto& value) {
        std::memcpy(bytes.data() + place, &value, sizeof value);
    };
    const std::size_t link = bytes.size() - 4096;
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(link) + 4, bytes.end() - 1, '/');
    std::uint32_t number = 0;
    for (std::size_t place = 24; place + 24 <= link; place += whole ? 24 : 4) {
        if (whole) {
            put(place, std::uint32_t{7} << 16 | 8);
            put(place + 4, std::uint32_t{24});
            put(place + 16, std::uint64_t{0});
            std::snprintf(bytes.data() + place + 16, 8, "%07x", number++);
        }
        put(place + (whole ? 8 : 0), std::uint32_t{0x61616161});
        if (whole) {
            put(place + 12, static_cast<std::uint32_t>(link + 4UL * (number % 512)));
        }
    }
    return bytes;
}

class HostileIndex : public testing::TestWithParam<bool> {};

TEST_P(HostileIndex, isRepairedInLittleMemory) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer keeps freed memory and shadows the rest";
#endif
    constexpr long kMostKilobytes = 64L << 10;
    qxfsutil_test::CheckedArea area;
    area.builder().shortcut("bin/sh", "shell");
    area.index();
    std::ofstream(area.path("bin/._qxlnk_.")) << hostileIndex(GetParam());
    const pid_t child = fork();
    if (child == 0) {
        area.check(RepairMode::yes);
        _exit(area.summary().repaired > 0 ? 0 : 1);
    }
    int status = 0;
    rusage usage{};
    ASSERT_EQ(child, wait4(child, &status, 0, &usage));

    EXPECT_EQ(0, status);
    EXPECT_LE(usage.ru_maxrss, kMostKilobytes);
}

INSTANTIATE_TEST_SUITE_P(records, HostileIndex, testing::Bool());

}  // namespace
}  // namespace qxfs
