// Damage of every kind is found, exactly once and as what it is; what is no damage is not.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <thread>

#include "base/content.h"
#include "base/open_below.h"
#include "src/area/index_area.h"
#include "src/area/resolve.h"
#include "src/area/usage.h"
#include "tests/support/area_builder.h"
#include "tests/support/index_image.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/area/checked_area.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using qxfsutil_test::write;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Directories of template files alone and with own files, all indexed.
class IndexedArea : public qxfsutil_test::CheckedArea {
public:
    IndexedArea() {
        for (const char* file : {"bin/sh", "bin/ls", "sbin/init", "etc/shared"}) {
            builder().shortcut(file, file, 0755);
        }
        builder().file("etc/own", "mine");
        builder().file("srv/data", "mine");
        index();
    }

    void putLink(const std::string& inside, const std::string& text, mode_t mode = 01755) const {
        unlink(path(inside).c_str());
        write(path(inside), text);
        chmod(path(inside).c_str(), mode);
    }
};

struct Fault {
    const char* name;
    const char* expected;  ///< the one finding: its kind and path
    void (*inflict)(IndexedArea& area);
};

void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << fault.name;
}

void replaceIndexBy(IndexedArea& area, mode_t type) {
    const auto index = area.path("bin/._qxlnk_.");
    unlink(index.c_str());
    ASSERT_EQ(0, mknod(index.c_str(), type | 0644, S_ISCHR(type) ? 0x103 : 0));
}

void flipInIndex(IndexedArea& area, const std::string& text, std::size_t byte) {
    const auto bytes = qx_test::read_file(area.path("bin/._qxlnk_."));
    const auto place = bytes.find(text);
    ASSERT_NE(std::string::npos, place);
    area.flipByte("bin/._qxlnk_.", static_cast<std::streamoff>(place + byte), 1);
}

void swapIndexes(IndexedArea& area, const std::string& one, const std::string& other) {
    const auto first = area.path(one + "/._qxlnk_.");
    const auto second = area.path(other + "/._qxlnk_.");
    fs::rename(first, first + "~");
    fs::rename(second, first);
    fs::rename(first + "~", second);
}

const Fault kFaults[] = {
    {"indexIsDirectory", "index-wrong-type /bin/._qxlnk_.",
     [](IndexedArea& area) {
         unlink(area.path("bin/._qxlnk_.").c_str());
         fs::create_directory(area.path("bin/._qxlnk_."));
         write(area.path("bin/._qxlnk_./inside"), "not looked at");
     }},
    {"indexIsFifo", "index-wrong-type /bin/._qxlnk_.",
     [](IndexedArea& area) { replaceIndexBy(area, S_IFIFO); }},
    {"indexIsSocket", "index-wrong-type /bin/._qxlnk_.",
     [](IndexedArea& area) { replaceIndexBy(area, S_IFSOCK); }},
    {"indexIsSymlink", "index-wrong-type /bin/._qxlnk_.",
     [](IndexedArea& area) {
         unlink(area.path("bin/._qxlnk_.").c_str());
         fs::create_symlink("sh", area.path("bin/._qxlnk_."));
     }},
    {"indexIsSymlinkToAnIndex", "index-wrong-type /bin/._qxlnk_.",
     [](IndexedArea& area) {
         unlink(area.path("bin/._qxlnk_.").c_str());
         fs::create_symlink("../sbin/._qxlnk_.", area.path("bin/._qxlnk_."));
     }},
    {"indexIsAHardLinkToAnother", "index-of-other /bin",
     [](IndexedArea& area) {
         unlink(area.path("bin/._qxlnk_.").c_str());
         fs::create_hard_link(area.path("sbin/._qxlnk_."), area.path("bin/._qxlnk_."));
     }},
    {"indexIsAMagicLinkToAFile", "shortcut-type-changed /bin/._qxlnk_.",
     [](IndexedArea& area) {
         unlink(area.path("bin/._qxlnk_.").c_str());
         fs::create_symlink("////os/1/root/sbin/init", area.path("bin/._qxlnk_."));
     }},
    {"wrongTypeWithoutMark", "index-wrong-type /srv/._qxlnk_.",
     [](IndexedArea& area) {
         unlink(area.path("srv/._qxlnk_.").c_str());
         chmod(area.path("srv").c_str(), 0755);
         fs::create_directory(area.path("srv/._qxlnk_."));
     }},
    {"indexFromADirectoryWithOwnFiles", "index-of-other /bin",
     [](IndexedArea& area) {
         fs::copy_file(area.path("srv/._qxlnk_."), area.path("bin/._qxlnk_."),
                       fs::copy_options::overwrite_existing);
     }},
    {"linkLeadsOut", "shortcut-outside /var/x",
     [](IndexedArea& area) {
         write(area.area().templateRoot + "/../x", "outside");
         fs::create_directory(area.path("var"));
         area.changeEntry("", "nothing", [](dirindex::IndexEntry&) {});
         area.rewriteIndex("", [&](std::vector<dirindex::IndexEntry>& entries) {
             struct stat info {};
             ASSERT_EQ(0, lstat(area.path("var").c_str(), &info));
             entries.push_back({4, ownTag(info), "var", {}});
         });
         area.putLink("var/x", "////../x");
     }},
    {"entryLeadsOut", "link-outside /bin/x",
     [](IndexedArea& area) {
         const auto outside = area.area().templateRoot + "/../x";
         write(outside, "outside");
         struct stat info {};
         ASSERT_EQ(0, lstat(outside.c_str(), &info));
         area.rewriteIndex("bin", [&](std::vector<dirindex::IndexEntry>& entries) {
             entries.push_back({8, templateTag(info), "x", "////os/../.."});
         });
     }},
    {"hashTable", "index-table-wrong /bin",
     [](IndexedArea& area) {
         const auto path = area.path("bin/._qxlnk_.");
         auto image = qx_test::IndexImage::from_bytes(qx_test::read_file(path));
         write(path, image.set32(8, image.get32(8) + 1).fix_checksum().bytes());
     }},
    {"shortcutToAnotherFile", "entry-other-link /bin/sh",
     [](IndexedArea& area) { area.putLink("bin/sh", "////os/1/root/sbin/init"); }},
    {"linkStringBit", "index-link-damaged /bin",
     [](IndexedArea& area) { flipInIndex(area, "////os/1/root/bin", 14); }},
    {"linkStringTemplateBit", "index-link-damaged /bin",
     [](IndexedArea& area) { flipInIndex(area, "////os/1/root/bin", 5); }},
    {"linkStringSlash", "index-link-damaged /bin",
     [](IndexedArea& area) { flipInIndex(area, "////os/1/root/bin", 2); }},
    {"unfinishedCopyWithAllOfTheText", "temporary-left /srv/tool-Ab12Cd",
     [](IndexedArea& area) {
         area.builder().magicSymlink("opt/tool", "tool");
         fs::rename(area.path("opt/tool"), area.path("srv/tool"));
         fs::remove(area.path("opt"));
         area.builder().templateOnly("srv/tool", "tool");
         fs::remove(area.path("srv/._qxlnk_."));
         chmod(area.path("srv").c_str(), 0755);
         unlink(area.path("srv/tool").c_str());
         fs::create_symlink("////os/1/root/srv/tool", area.path("srv/tool"));
         area.putLink("srv/tool-Ab12Cd", "////os/1/root/srv/tool", 0600);
     }},
    {"unfinishedCopyWithPartOfTheText", "temporary-partial /srv/tool-Ab12Cd",
     [](IndexedArea& area) {
         area.builder().templateOnly("srv/tool", "tool");
         fs::remove(area.path("srv/._qxlnk_."));
         chmod(area.path("srv").c_str(), 0755);
         fs::create_symlink("////os/1/root/srv/tool", area.path("srv/tool"));
         area.putLink("srv/tool-Ab12Cd", "////os/", 0600);
     }},
};

/// Names that the index of a directory holds.
std::vector<std::string> namesIn(const IndexedArea& area, const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry :
         dirindex::readIndexFile(AT_FDCWD, area.path(directory + "/._qxlnk_.")).entries) {
        names.push_back(entry.name);
    }
    return names;
}

class OneFault : public testing::TestWithParam<Fault> {};

TEST_P(OneFault, isFoundExactlyOnce) {
    IndexedArea area;
    ASSERT_THAT(area.check(), IsEmpty());
    GetParam().inflict(area);

    EXPECT_THAT(area.check(), ElementsAre(GetParam().expected));
    EXPECT_EQ(1U, area.summary().errorsLeft);
}

TEST_P(OneFault, isRepairedInOneRunAndUndoneToTheByte) {
    IndexedArea area;
    GetParam().inflict(area);
    const auto damaged = qx_test::snapshot(area.area().privateDir);

    EXPECT_THAT(area.check(RepairMode::yes), Contains(GetParam().expected));

    EXPECT_THAT(area.check(), IsEmpty());
    area.undo();
    EXPECT_TRUE(damaged == qx_test::snapshot(area.area().privateDir));
}

INSTANTIATE_TEST_SUITE_P(faults, OneFault, testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(IndexInPlace, thatIsADeviceIsFoundAndNotOpened) {
    IndexedArea area;
    const auto index = area.path("bin/._qxlnk_.");
    unlink(index.c_str());
    if (mknod(index.c_str(), S_IFCHR | 0644, 0x103) != 0) {
        GTEST_SKIP() << "this machine lets nobody make a device here";
    }
    EXPECT_THAT(area.check(), ElementsAre("index-wrong-type /bin/._qxlnk_."));
}

TEST(SwappedIndexes, areEachFoundAndLeftByAPreeningRun) {
    IndexedArea area;
    swapIndexes(area, "bin", "sbin");

    EXPECT_THAT(area.check(RepairMode::preen),
                ElementsAre("index-of-other /bin", "index-of-other /sbin"));
    EXPECT_EQ(0U, area.summary().repaired);
}

TEST(SwappedIndexes, areExchangedByOneRepair) {
    IndexedArea area;
    const auto before = namesIn(area, "bin");
    swapIndexes(area, "bin", "sbin");
    const auto damaged = qx_test::snapshot(area.area().privateDir);

    area.check(RepairMode::yes);

    EXPECT_EQ(0U, area.summary().errorsLeft);
    EXPECT_THAT(area.check(), IsEmpty());
    EXPECT_EQ(before, namesIn(area, "bin"));
    area.undo();
    EXPECT_TRUE(damaged == qx_test::snapshot(area.area().privateDir));
}

TEST(RestoredArea, hasOtherInodesButItsOwnIndexes) {
    IndexedArea area;
    const auto root = area.builder().root();
    fs::rename(root, root + "~");
    fs::copy(root + "~", root, fs::copy_options::recursive);
    for (const char* directory : {"", "bin", "sbin", "etc", "srv"}) {
        chmod(area.path(directory).c_str(), 04755);
    }
    fs::remove_all(root + "~");

    EXPECT_THAT(area.check(RepairMode::preen), Each(StartsWith("entry-inode-changed ")));
    EXPECT_THAT(area.check(), IsEmpty());
}

TEST(RenamedLinks, areTheContainersRight) {
    IndexedArea area;
    fs::create_directory(area.path("srv/names"));
    unlink(area.path("srv/._qxlnk_.").c_str());
    chmod(area.path("srv").c_str(), 0755);
    for (const char* name : {"log.0", "log.1"}) {
        area.builder().templateOnly("srv/names/" + std::string(name), name);
        const auto file = area.templateFile("srv/names/" + std::string(name));
        fs::last_write_time(file,
                            fs::last_write_time(file) - std::chrono::hours(name[4] - '0' + 1));
    }
    area.putLink("srv/names/log.1", "////os/1/root/srv/names/log.0", 01644);
    fs::last_write_time(area.path("srv/names/log.1"),
                        fs::last_write_time(area.templateFile("srv/names/log.0")));
    area.putLink("srv/names/other", "////os/1/root/srv/names/log.0", 01644);

    EXPECT_THAT(area.check(), IsEmpty());
}

TEST(LostRoot, isFoundWhateverTheAreaIsKnownBy) {
    for (const char* known : {"VERSION", "lost_files", "its configuration"}) {
        SCOPED_TRACE(known);
        IndexedArea area;
        const auto top = area.area().privateDir;
        if (known == std::string("VERSION")) {
            fs::create_symlink("005.004", top + "/VERSION");
        } else if (known == std::string("lost_files")) {
            fs::create_directory(top + "/lost_files");
        }
        fs::rename(top + "/root", top + "/elsewhere");
        std::string error;
        ASSERT_TRUE(openArea(top, area.builder().templateRoot(), area.area(), error,
                             known == std::string("its configuration")));
        const auto before = qx_test::snapshot(top + "/elsewhere");

        EXPECT_THAT(area.check(RepairMode::yes), ElementsAre("root-missing /"));
        EXPECT_EQ(1U, area.summary().errorsLeft);
        fs::create_directory_symlink("elsewhere", top + "/root");
        EXPECT_THAT(area.check(), ElementsAre("root-missing /"));
        indexArea(area.area(), {}, [](const IndexOutcome& outcome) {
            EXPECT_EQ(IndexResult::failed, outcome.result);
        });

        EXPECT_TRUE(before == qx_test::snapshot(top + "/elsewhere"));
    }
}

TEST(MissingTemplate, isOneFindingAndNothingOfItIsDropped) {
    for (const bool mountPoint : {false, true}) {
        IndexedArea area;
        area.putLink("srv/link", "////os/1/root/srv/link");
        area.check(RepairMode::preen);
        const auto place = area.builder().templateRoot() + "/os/1";
        fs::rename(place, place + "-gone");
        if (mountPoint) {
            fs::create_directory(place);
        }
        const auto before = qx_test::snapshot(area.area().privateDir);

        EXPECT_THAT(area.check(RepairMode::yes), ElementsAre("template-missing /"));
        EXPECT_EQ(1U, area.summary().errorsLeft);
        EXPECT_TRUE(before == qx_test::snapshot(area.area().privateDir));
    }
}

TEST(MissingTemplate, whoseFilesCountAsLostHasAFindingForEach) {
    IndexedArea area;
    fs::remove_all(area.builder().templateRoot() + "/os");
    TemplateLookup templates(area.area(), true);

    const auto check = checkDirectory(area.area(), "/bin", templates);

    ASSERT_EQ(2U, check.findings.size());
    EXPECT_EQ(FindingCode::linkLost, check.findings[0].finding.code);
}

TEST(MissingTemplate, isNotMistakenForOneWithASimilarName) {
    IndexedArea area;
    const auto place = area.builder().templateRoot() + "/os/";
    fs::rename(place + "1", place + "3");

    EXPECT_THAT(area.check(), ElementsAre("template-missing /"));
}

TEST(MountBelowTheRoot, isLeftOutAndTold) {
    IndexedArea area;
    area.builder().file("srv/mnt/file", "below");
    area.builder().file("srv/one", "below");
    area.check(RepairMode::preen);
    area.index();
    const qx_test::TempDir other;
    fs::create_directory(other.path("faulty"));
    write(other.path("faulty/._qxlnk_."), "no index");
    qx_test::PrivateRoot view;
    view.show(other.path(), area.path("srv/mnt"));
    view.show(other.write("file", "text"), area.path("srv/one"));

    const auto result = view.run([&] {
        std::string found;
        for (const auto& line : area.check(RepairMode::preen)) {
            found += line + "\n";
        }
        return found;
    });

    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("mount-left-out /srv/one\nmount-left-out /srv/mnt\n", result.text);
}

TEST(DeepArea, isCheckedResolvedAndSearchedBeyondTheLongestPath) {
    constexpr int kLevels = 1000;
    IndexedArea area;
    std::string deep;
    for (int level = 0; level < kLevels; ++level) {
        deep += "/directory";
    }
    const base::Fd root(open(area.builder().root().c_str(), O_RDONLY | O_DIRECTORY));
    const auto bottom = base::makeBelow(root.get(), deep.substr(1));
    ASSERT_TRUE(bottom);
    for (const char* name : {"sh", "gone"}) {
        const base::Fd link(openat(bottom.get(), name, O_WRONLY | O_CREAT, 0600));
        ASSERT_TRUE(base::writeContent(link.get(), "////os/1/root/bin/" + std::string(name)));
        fchmod(link.get(), 01755);
    }
    std::string error;
    std::vector<SeenEntry> seen;
    std::set<std::string> used;

    EXPECT_THAT(area.check(RepairMode::preen),
                ElementsAre("name-not-indexed /directory", "shortcut-lost " + deep + "/gone"));
    EXPECT_EQ(kLevels + 5U, area.summary().directories);
    EXPECT_TRUE(listSeen(area.area(), deep, seen, error)) << error;
    EXPECT_EQ(2U, seen.size());
    EXPECT_THAT(collectUsed(area.area(), used), IsEmpty());
    EXPECT_THAT(used, Contains(area.templateFile("bin/gone")));
}

TEST(Checks, runAtOnceInThreadsOfOneProcess) {
    constexpr int kAreas = 4;
    std::vector<std::unique_ptr<IndexedArea>> areas;
    std::vector<std::vector<std::string>> found(kAreas);
    for (int i = 0; i < kAreas; ++i) {
        areas.push_back(std::make_unique<IndexedArea>());
        write(areas.back()->path("bin/new" + std::to_string(i)), "new");
    }
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kAreas; ++i) {
            threads.emplace_back([&, i] { found[i] = areas[i]->check(); });
        }
    }
    for (int i = 0; i < kAreas; ++i) {
        EXPECT_THAT(found[i], ElementsAre("name-not-indexed /bin/new" + std::to_string(i)));
    }
}

TEST(PlantedLink, neverLeadsTheReadingOfAnIndexElsewhere) {
    constexpr int kChecks = 500;
    IndexedArea area;
    const qx_test::TempDir outside;
    write(outside.path("._qxlnk_."), "no index, but long enough for one");
    const auto link = area.path("link");  // beside it, so that ".." stays what it is
    const auto directory = area.path("bin");
    fs::create_directory_symlink(outside.path(), link);
    const std::jthread swapping([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            renameat2(AT_FDCWD, link.c_str(), AT_FDCWD, directory.c_str(), RENAME_EXCHANGE);
        }
    });
    for (int i = 0; i < kChecks; ++i) {
        for (const auto& found : checkDirectory(area.area(), "/bin").findings) {
            ASSERT_EQ(FindingCode::directoryUnreadable, found.finding.code);
        }
    }
}

class Flips {
public:
    Flips(qxfsutil_test::CheckedArea& area, std::uint64_t seed) : m_area(area), m_random(seed) {
        for (const auto& entry : fs::recursive_directory_iterator(area.builder().root())) {
            const auto status = entry.symlink_status();
            const bool magic =
                entry.is_symlink() && fs::read_symlink(entry.path()).string().starts_with("////");
            const bool sticky = fs::is_regular_file(status) &&
                                (status.permissions() & fs::perms::sticky_bit) != fs::perms::none;
            if (magic || sticky || entry.path().filename() == dirindex::kIndexName) {
                m_files.push_back(entry.path().string());
            }
        }
        std::sort(m_files.begin(), m_files.end());
    }

    /// Flips one bit somewhere, checks, and flips it back. @return what cannot be had: "".
    std::string unnoticed() {
        const auto& path = m_files[m_random() % m_files.size()];
        const bool link = fs::is_symlink(fs::symlink_status(path));
        auto bytes = link ? fs::read_symlink(path).string() : qx_test::read_file(path);
        const auto before = bytes;
        const auto bit = m_random() % (bytes.size() * 8);
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1U << (bit % 8)));
        if (link && bytes.find('\0') != std::string::npos) {
            return "";  // no file system can hold it
        }
        put(path, link, bytes);
        const bool found = !m_area.check().empty();
        put(path, link, before);
        return found ? "" : path + " bit " + std::to_string(bit) + ": " + before;
    }

private:
    static void put(const std::string& path, bool link, const std::string& bytes) {
        if (link) {
            unlink(path.c_str());
            fs::create_symlink(bytes, path);
        } else {
            std::ofstream(path, std::ios::binary) << bytes;
        }
    }

    qxfsutil_test::CheckedArea& m_area;
    std::mt19937_64 m_random;
    std::vector<std::string> m_files;
};

class AnyFlippedBit : public testing::TestWithParam<int> {};

TEST_P(AnyFlippedBit, ofAnIndexOrALinkIsFoundWithAndWithoutIndexes) {
    constexpr int kFlips = 50;
    const bool indexed = GetParam() % 2 == 0;
    qxfsutil_test::CheckedArea area;
    area.builder().fill(static_cast<std::uint64_t>(GetParam()), {});
    for (const char* name : {"a", "b", "c", "d1", "d3"}) {
        area.builder().shortcut("near/" + std::string(name), name);
        area.builder().magicSymlink("linked/" + std::string(name), name);
    }
    if (indexed) {
        area.index();
    }
    ASSERT_THAT(area.check(), IsEmpty());
    Flips flips(area, static_cast<std::uint64_t>(GetParam()) + 1);
    for (int flip = 0; flip < kFlips; ++flip) {
        EXPECT_EQ("", flips.unnoticed());
    }
}

INSTANTIATE_TEST_SUITE_P(areas, AnyFlippedBit, testing::Range(1, 11));

}  // namespace
}  // namespace qxfs
