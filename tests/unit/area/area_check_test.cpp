// Every kind of damage is found once, repaired to a clean area, and undone to the byte.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/content.h"
#include "src/area/index_area.h"
#include "src/area/lost_files.h"
#include "src/area/resolve.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/area/checked_area.h"

namespace qxfs {
namespace {

namespace fs = std::filesystem;
using qxfsutil_test::write;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// An area with a file of every sort, indexed.
class AreaWorld : public qxfsutil_test::CheckedArea {
public:
    AreaWorld() {
        builder().shortcut("bin/sh", "shell", 0755);
        builder().shortcut("bin/ls", "list", 0755);
        builder().file("etc/own", "mine");
        builder().symlink("etc/link", "own");
        builder().shortcut("etc/changed", "template text");
        fs::permissions(path("etc/changed"), fs::perms(01600));
        builder().hardLink("etc/other", "etc/own");
        builder().directory("var/empty");
        index();
    }
};

struct Damage {
    const char* name;
    const char* expected;  ///< the one finding: its kind and path
    void (*inflict)(AreaWorld& world);
    bool preen;  ///< a preening run repairs it
};

/// The one directory of an area in which a check finds something.
DirectoryCheck findingOf(const Area& area) {
    DirectoryCheck faulty;
    walkArea([&](const std::string& path) {
        auto check = checkDirectory(area, path);
        if (!check.findings.empty()) {
            faulty = check;
        }
        return check;
    });
    return faulty;
}

void PrintTo(const Damage& damage, std::ostream* stream) {
    *stream << damage.name;
}

class SingleDamage : public testing::TestWithParam<Damage> {
protected:
    void SetUp() override {
        // A shortcut whose attributes differ stands in the world on purpose: it must be kept.
        ASSERT_THAT(m_world.check(), ElementsAre("attributes-differ /etc/changed"));
        fs::permissions(m_world.path("etc/changed"), fs::perms(01644));
        m_world.check(RepairMode::yes);
        ASSERT_THAT(m_world.check(), IsEmpty());
        GetParam().inflict(m_world);
    }

    AreaWorld m_world;
};

TEST_P(SingleDamage, isFoundExactlyOnce) {
    EXPECT_THAT(m_world.check(), ElementsAre(GetParam().expected));
}

TEST_P(SingleDamage, isRepairedToACleanArea) {
    m_world.check(RepairMode::yes);

    EXPECT_GT(m_world.summary().repaired, 0U);
    EXPECT_EQ(m_world.summary().errorsLeft, 0U);
    EXPECT_THAT(m_world.check(), IsEmpty());
}

TEST_P(SingleDamage, comesBackToTheByteWhenTheRepairIsUndone) {
    const auto before = qx_test::snapshot(m_world.area().privateDir);

    m_world.check(RepairMode::yes);
    m_world.undo();

    EXPECT_TRUE(before == qx_test::snapshot(m_world.area().privateDir));
}

TEST_P(SingleDamage, isRepairedByAPreeningRunOnlyWhenNothingCanBeLost) {
    m_world.check(RepairMode::preen);

    EXPECT_EQ(GetParam().preen ? 1U : 0U, m_world.summary().repaired);
}

TEST_P(SingleDamage, isRepairedThroughNoLinkThatWasPlantedSinceTheCheck) {
    const qx_test::TempDir elsewhere;
    const auto outside = elsewhere.path("directory");
    auto check = findingOf(m_world.area());
    const auto directory = m_world.area().absolute(check.path);
    // What the link leads to is the very directory that was checked, so every repair would hold.
    fs::rename(directory, outside);
    fs::create_directory_symlink(outside, directory);
    const auto before = qx_test::snapshot(elsewhere.path());
    UndoRecord none;

    const auto failures = DirectoryRepair(m_world.area(), check, none).run(RepairMode::yes);

    EXPECT_THAT(failures, ElementsAre(HasSubstr("the path leads out of the area")));
    EXPECT_TRUE(before == qx_test::snapshot(elsewhere.path()));
    EXPECT_FALSE(fs::exists(m_world.area().privateDir + "/lost_files"));
}

TEST_P(SingleDamage, isNotTouchedByAReport) {
    const auto before = qx_test::snapshot(m_world.area().privateDir);

    m_world.check();

    EXPECT_TRUE(before == qx_test::snapshot(m_world.area().privateDir));
}

const Damage kDamages[] = {
    {"structure", "index-damaged /bin",
     [](AreaWorld& world) { world.flipByte("bin/._qxlnk_.", 0, 1); }, false},
    {"checksum", "checksum-wrong /bin",
     [](AreaWorld& world) { world.flipByte("bin/._qxlnk_.", 16, 1); }, false},
    {"noChecksum", "checksum-absent /bin",
     [](AreaWorld& world) {
         std::fstream file(world.path("bin/._qxlnk_."),
                           std::ios::in | std::ios::out | std::ios::binary);
         file.seekp(16);
         file.write("\xd4\x1d\x8c\xd9", 4);
     },
     true},
    {"markTaken", "mark-missing /bin",
     [](AreaWorld& world) { chmod(world.path("bin").c_str(), 0755); }, true},
    {"indexTaken", "index-missing /var/empty",
     [](AreaWorld& world) { chmod(world.path("var/empty").c_str(), 04755); }, false},
    {"temporary", "temporary-left /bin/._qxlnk_.~new",
     [](AreaWorld& world) { write(world.path("bin/._qxlnk_.~new"), "half an index"); }, true},
    {"templateGone", "link-lost /bin/ls",
     [](AreaWorld& world) { unlink(world.templateFile("bin/ls").c_str()); }, false},
    {"templateType", "template-type-changed /bin/ls",
     [](AreaWorld& world) {
         unlink(world.templateFile("bin/ls").c_str());
         EXPECT_EQ(0, symlink("sh", world.templateFile("bin/ls").c_str()));
     },
     false},
    {"templateInode", "template-inode-changed /bin/ls",
     [](AreaWorld& world) {
         world.changeEntry("bin", "ls", [](dirindex::IndexEntry& entry) { entry.ino ^= 64; });
     },
     true},
    {"fileGone", "entry-gone /etc/link",
     [](AreaWorld& world) { unlink(world.path("etc/link").c_str()); }, false},
    {"fileType", "entry-type-changed /etc/link",
     [](AreaWorld& world) {
         world.changeEntry("etc", "link", [](dirindex::IndexEntry& entry) { entry.type = 8; });
     },
     true},
    {"fileInode", "entry-inode-changed /etc/own",
     [](AreaWorld& world) {
         world.changeEntry("etc", "own", [](dirindex::IndexEntry& entry) { entry.ino += 2; });
     },
     true},
    {"twice", "entry-double /bin/ls",
     [](AreaWorld& world) {
         world.rewriteIndex("bin", [](std::vector<dirindex::IndexEntry>& entries) {
             for (std::size_t i = 0; i < entries.size(); ++i) {
                 if (entries[i].name == "ls") {
                     entries.push_back(dirindex::IndexEntry(entries[i]));
                     break;
                 }
             }
         });
     },
     false},
    {"badName", "entry-name-bad /bin",
     [](AreaWorld& world) {
         world.rewriteIndex("bin", [](std::vector<dirindex::IndexEntry>& entries) {
             entries.push_back({8, 1, "../sh", "////os/1/root/bin"});
         });
     },
     false},
    {"added", "name-not-indexed /bin/new",
     [](AreaWorld& world) { write(world.path("bin/new"), "new"); }, true},
    {"ownNameGone", "name-not-indexed /bin/.",
     [](AreaWorld& world) {
         world.rewriteIndex("bin", [](std::vector<dirindex::IndexEntry>& entries) {
             std::erase_if(entries,
                           [](const dirindex::IndexEntry& entry) { return entry.name == "."; });
         });
     },
     true},
    {"linkLeft", "link-left /bin/sh",
     [](AreaWorld& world) {
         write(world.path("bin/sh"), "////os/1/root/bin/sh");
         chmod(world.path("bin/sh").c_str(), 01755);
     },
     true},
    {"shadowed", "entry-shadowed /bin/sh",
     [](AreaWorld& world) { write(world.path("bin/sh"), "the container's own"); }, false},
    {"shortcutLost", "shortcut-lost /bin/gone",
     [](AreaWorld& world) {
         write(world.path("bin/gone"), "////os/1/root/bin/gone");
         chmod(world.path("bin/gone").c_str(), 01755);
     },
     false},
    {"shortcutType", "shortcut-type-changed /bin/dir",
     [](AreaWorld& world) {
         fs::create_directory(world.templateFile("bin/dir"));
         write(world.path("bin/dir"), "////os/1/root/bin/dir");
         chmod(world.path("bin/dir").c_str(), 01755);
     },
     false},
};

INSTANTIATE_TEST_SUITE_P(damages, SingleDamage, testing::ValuesIn(kDamages),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(AreaCheck, anIndexedAreaShowsWhatStoodThereBefore) {
    AreaWorld world;

    EXPECT_FALSE(fs::exists(world.path("bin/sh")));
    EXPECT_TRUE(fs::exists(world.path("etc/changed")));
    EXPECT_EQ(4U, dirindex::readIndexFile(AT_FDCWD, world.path("bin/._qxlnk_.")).entries.size());
}

TEST(AreaCheck, aDamagedNameIsFoundAgainByItsInode) {
    AreaWorld world;
    world.changeEntry("bin", "ls", [](dirindex::IndexEntry& entry) { entry.name = "mt"; });

    world.check(RepairMode::yes);

    const auto entries = dirindex::readIndexFile(AT_FDCWD, world.path("bin/._qxlnk_.")).entries;
    EXPECT_EQ(1,
              std::count_if(entries.begin(), entries.end(),
                            [](const dirindex::IndexEntry& entry) { return entry.name == "ls"; }));
}

TEST(AreaCheck, aMovedItemComesBackFromLostFiles) {
    AreaWorld world;
    write(world.path("bin/sh"), "the container's own");
    world.check(RepairMode::yes);
    ASSERT_FALSE(fs::exists(world.path("bin/sh")));

    std::string error;
    EXPECT_TRUE(restoreLost(world.area(), "/bin/sh", error)) << error;

    EXPECT_TRUE(fs::exists(world.path("bin/sh")));
}

TEST(AreaCheck, restoringOverSomethingIsRefused) {
    AreaWorld world;
    std::string error;
    EXPECT_FALSE(restoreLost(world.area(), "/etc/own", error));
    EXPECT_NE(std::string::npos, error.find("is there again"));
}

TEST(AreaCheck, restoringAPathThatLeadsOutIsRefused) {
    AreaWorld world;
    std::string error;
    EXPECT_FALSE(restoreLost(world.area(), "../x", error));
}

TEST(AreaCheck, everyFlippedBitOfAnIndexIsFound) {
    AreaWorld world;
    const auto size = fs::file_size(world.path("bin/._qxlnk_."));
    for (std::uintmax_t bit = 0; bit < size * 8; ++bit) {
        const auto offset = static_cast<std::streamoff>(bit / 8);
        const char mask = static_cast<char>(1U << (bit % 8));
        world.flipByte("bin/._qxlnk_.", offset, mask);

        const auto found = checkDirectory(world.area(), "/bin").findings.size();

        world.flipByte("bin/._qxlnk_.", offset, mask);
        ASSERT_GT(found, 0U) << "bit " << bit;
    }
}

IndexOutcome indexed(AreaWorld& world, const std::string& directory, bool dryRun = false) {
    IndexOutcome found;
    indexArea(world.area(), {false, dryRun}, [&](const IndexOutcome& outcome) {
        if (outcome.path == directory) {
            found = outcome;
        }
    });
    return found;
}

TEST(AreaIndex, ofADamagedDirectorySaysWhatIsWrongAndChangesNothing) {
    AreaWorld world;
    world.flipByte("bin/._qxlnk_.", 0, 1);
    const auto before = qx_test::snapshot(world.area().privateDir);

    const auto outcome = indexed(world, "/bin");

    EXPECT_EQ(IndexResult::faulty, outcome.result);
    EXPECT_THAT(outcome.reasons, ElementsAre(HasSubstr("the directory index is damaged")));
    EXPECT_TRUE(before == qx_test::snapshot(world.area().privateDir));
}

TEST(AreaIndex, completesAnIndexThatMissesAName) {
    AreaWorld world;
    write(world.path("bin/new"), "new");

    EXPECT_EQ(IndexResult::completed, indexed(world, "/bin").result);

    EXPECT_EQ(IndexResult::already, indexed(world, "/bin").result);
}

TEST(AreaIndex, inADryRunNamesWhatItWouldCompleteAndChangesNothing) {
    AreaWorld world;
    write(world.path("bin/new"), "new");
    const auto before = qx_test::snapshot(world.area().privateDir);

    EXPECT_EQ(IndexResult::completed, indexed(world, "/bin", true).result);

    EXPECT_TRUE(before == qx_test::snapshot(world.area().privateDir));
}

TEST(FindingKinds, standInTheOrderOfTheirCodes) {
    const auto& kinds = findingKinds();
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        EXPECT_EQ(i, static_cast<std::size_t>(kinds[i].code));
    }
    EXPECT_EQ(static_cast<std::size_t>(FindingCode::attributesDiffer) + 1, kinds.size());
}

TEST(FindingKinds, onlyRepairsThatAskForApprovalArePreened) {
    for (const auto& kind : findingKinds()) {
        EXPECT_TRUE(!kind.preen || kind.question == Question::approve) << kind.name;
        EXPECT_EQ(kind.question == Question::none, kind.repair[0] == '\0') << kind.name;
    }
}

class SeededArea : public testing::TestWithParam<std::uint64_t> {};

TEST_P(SeededArea, isIndexedCheckedCleanAndSeenAsBefore) {
    const qx_test::TempDir folder;
    qx_test::AreaBuilder builder(folder.path("w"));
    builder.fill(GetParam(), {});
    Area area;
    std::string error;
    ASSERT_TRUE(openArea(builder.privateDir(), builder.templateRoot(), area, error)) << error;

    indexArea(area, {true, false}, [](const IndexOutcome& outcome) {
        EXPECT_NE(IndexResult::failed, outcome.result) << outcome.path;
    });

    UndoRecord none;
    const auto summary = checkArea(
        area, RepairMode::report, none,
        [](const Finding& finding) { ADD_FAILURE() << describe(finding); },
        [](const CheckSummary&) {});
    EXPECT_GT(summary.indexed, 0U);
    for (const auto& [path, content] : builder.expected()) {
        SCOPED_TRACE(dirindex::escaped(path));
        std::vector<SeenEntry> seen;
        Resolved resolved;
        const auto parent = fs::path(path).parent_path().string();
        ASSERT_TRUE(listSeen(area, parent, seen, error)) << error;
        const auto name = fs::path(path).filename().string();
        EXPECT_EQ(1, std::count_if(
                         seen.begin(), seen.end(), [&, &content = content](const SeenEntry& entry) {
                             return entry.name == name && (!content.starts_with("-> ") ||
                                                           content.substr(3) == entry.target);
                         }));
        if (content.starts_with("content ")) {
            ASSERT_TRUE(resolve(area, path, resolved, error)) << error;
            EXPECT_EQ(content, base::readSuspect(AT_FDCWD, resolved.file, 1 << 20));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(seeds, SeededArea, testing::Range<std::uint64_t>(1, 13));

}  // namespace
}  // namespace qxfs
