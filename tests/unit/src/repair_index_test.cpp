// create_dirindex, fsck_dirindex and remove_list on real directories.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/index_image.h"
#include "tests/support/private_root.h"
#include "tests/unit/src/checker_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* kIndex = "._qxlnk_.";

// What was flushed to the device, and whether the file "a" stood beside it then.
struct FlushShim {
    bool active = false;
    std::vector<std::string> seen;
};
FlushShim flushes;

}  // namespace

// In the place of the C library's: notes the order of flushes in tests.
extern "C" int fsync(int fd) {
    if (flushes.active) {
        const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
        flushes.seen.push_back(path.string() + (access("a", F_OK) == 0 ? " before" : " after"));
    }
    return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace {

class RepairIndexTest : public CheckerTest {
protected:
    int create(const std::string& dir = ".", const std::string& name = kIndex, int mode = 0) {
        return create_dirindex(dir.c_str(), name.c_str(), area_.root().c_str(), mode);
    }
    int check(const std::string& dir, const char* out = nullptr) {
        return fsck_dirindex(dir.c_str(), kIndex, out, area_.root().c_str());
    }
    void add_pair(const std::string& name) {
        area_.add_template("os/" + name);
        area_.add_shortcut(name, "os/" + name);
    }
    static std::vector<std::string> items_of(const std::string& path) {
        std::vector<std::string> result;
        char** items = read_dirindex(path.c_str());
        EXPECT_NE(nullptr, items);
        for (char** item = items; item != nullptr && *item != nullptr; ++item) {
            result.emplace_back(*item);
            free(*item);
        }
        free(items);
        return result;
    }
};

// ---- create_dirindex

TEST_F(RepairIndexTest, CreateWritesTheIndexRemovesTheFilesAndMarksTheDirectory) {
    add_pair("a");
    add_pair("b");
    area_.add_file("own");
    area_.add_dir("sub");
    ASSERT_EQ(0, chmod(".", 0750));
    EXPECT_EQ(0, create());
    EXPECT_THAT(items_of(kIndex), UnorderedElementsAre("////os/a", "////os/b"));
    EXPECT_FALSE(area_.exists("a"));
    EXPECT_FALSE(area_.exists("b"));
    EXPECT_TRUE(area_.exists("own"));
    EXPECT_TRUE(area_.exists("sub"));
    EXPECT_EQ(S_IFDIR | 04750U, area_.stat_of(".").st_mode);
    EXPECT_EQ(nullptr, rl_info);
}

TEST_F(RepairIndexTest, CreateWritesAnIndexThatItsCheckAccepts) {
    add_pair("a");
    EXPECT_EQ(0, create());
    const std::string said_by_check = said(4, [&] { return check("."); });
    EXPECT_EQ(0, result_);
    EXPECT_THAT(said_by_check, testing::Not(HasSubstr("WARNING")));
}

TEST_F(RepairIndexTest, CreateWithNothingToRemoveStillWritesAndMarks) {
    area_.add_file("own");
    EXPECT_EQ(0, create());
    EXPECT_THAT(items_of(kIndex), IsEmpty());
    EXPECT_EQ(04755U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, CreateKeepsTheDirectorysOtherBits) {
    area_.add_file("own");
    ASSERT_EQ(0, chmod(".", 03711));
    EXPECT_EQ(0, create());
    EXPECT_EQ(07711U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, CreateEntersTheDirectoryAndStaysThere) {
    area_.add_template("os/sub/a");
    area_.add_shortcut("sub/a", "os/sub/a");
    EXPECT_EQ(0, create("sub"));
    EXPECT_EQ(area_.path("sub"), fs::current_path());
    EXPECT_FALSE(area_.exists("sub/a"));
}

TEST_F(RepairIndexTest, CreateOfAMissingDirectoryFails) {
    EXPECT_EQ("Error: Can't chdir to 'missing': No such file or directory\n",
              said(2, [&] { return create("missing"); }));
    EXPECT_EQ(1, result_);
}

TEST_F(RepairIndexTest, CreateWritesNothingWhenAnEntryCannotBeIndexed) {
    add_pair("a");
    area_.add_shortcut("lost", "os/none");
    EXPECT_EQ(3, create());
    EXPECT_FALSE(area_.exists(kIndex));
    EXPECT_TRUE(area_.exists("a"));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, CreateOfAnEmptyDirectoryGives3) {
    EXPECT_EQ(3, create());
}

TEST_F(RepairIndexTest, CreateTurnsMagicSymlinksWhenAsked) {
    area_.add_template("os/x", 0600);
    area_.add_link("x", "////os/x");
    EXPECT_EQ(0, create(".", kIndex, 0x10));
    // Its permission bits differ from the template's, so the shortcut stays beside the index.
    EXPECT_EQ(S_IFREG | 01777U, area_.stat_of("x").st_mode);
    EXPECT_THAT(items_of(kIndex), ElementsAre("////os/x"));
}

TEST_F(RepairIndexTest, CreateThatCannotOpenTheIndexRemovesNothing) {
    add_pair("a");
    EXPECT_EQ("Error: can't open 'none/index': No such file or directory\n",
              said(2, [&] { return create(".", "none/index"); }));
    EXPECT_EQ(1, result_);
    EXPECT_TRUE(area_.exists("a"));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, CreateDoesNotWriteThroughAPlantedLink) {
    add_pair("a");
    const std::string victim = area_.files().write("victim", "mine");
    area_.add_link(kIndex, victim);
    EXPECT_EQ("Error: can't open '._qxlnk_.': Too many levels of symbolic links\n",
              said(2, [&] { return create(); }));
    EXPECT_EQ(1, result_);
    EXPECT_EQ("mine", qx_test::read_file(victim));
    EXPECT_TRUE(area_.exists("a"));
}

TEST_F(RepairIndexTest, CreateOnAFullDiskRemovesNothing) {
    add_pair("a");
    ASSERT_EQ(0, mkdir("disk", 0755));
    const auto full = qx_test::with_full_disk(area_.dir() + "/disk", [&] {
        const auto text = said(2, [&] { return create(".", "disk/index"); });
        return std::to_string(result_) + " " + text;
    });
    if (!full.ran) {
        GTEST_SKIP() << full.text;
    }
    EXPECT_EQ("1 Error: can't write 'disk/index': No space left on device\n", full.text);
    EXPECT_TRUE(area_.exists("a"));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
}

// A record over 4096 bytes needs a link string of nearly that.
TEST_F(RepairIndexTest, CreateOfARecordThatNoCheckWouldAcceptRemovesNothing) {
    std::string way = "os";
    while (way.size() < 4096 - 400) {
        way += "/" + std::string(199, 'd');
    }
    way += "/" + std::string(27, 'd');
    const std::string name(240, 'n');
    qx_test::WorkingDirectory work(area_.root());
    std::string step;
    for (size_t at = 0; at < way.size();) {
        const size_t end = std::min(way.find('/', at), way.size());
        step = way.substr(at, end - at);
        ASSERT_EQ(0, mkdir(step.c_str(), 0755));
        ASSERT_EQ(0, chdir(step.c_str()));
        at = end + 1;
    }
    FILE* file = fopen(name.c_str(), "w");
    ASSERT_NE(nullptr, file);
    fclose(file);
    ASSERT_EQ(0, chmod(name.c_str(), 0644));
    ASSERT_EQ(0, chdir(area_.root().c_str()));
    // A short root leaves room for such a text; the directory lies beside the template.
    const std::string text = "////" + way + "/" + name;
    ASSERT_LT(text.size(), 4095U);
    area_.add_sticky(name, text);
    const std::string root = "../template";
    ASSERT_EQ(0, chdir(area_.dir().c_str()));
    const std::string output =
        said(2, [&] { return create_dirindex(".", kIndex, root.c_str(), 0); });
    EXPECT_EQ(1, result_);
    EXPECT_THAT(output, HasSubstr("too long entry '" + name + "'\n"));
    EXPECT_TRUE(area_.exists(name));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
    EXPECT_TRUE(area_.exists(kIndex));
}

TEST_F(RepairIndexTest, CreateThatCannotMarkTheDirectoryNamesWhereItStarted) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs another user's directory to write to";
    }
    area_.add_file("sub/own");
    const std::string start = fs::current_path().string();
    ASSERT_EQ(0, chown("sub", 1234, 1234));
    ASSERT_EQ(0, chmod("sub", 0777));
    ASSERT_EQ(0, chmod(area_.files().path().c_str(), 0755));
    const pid_t child = fork();
    if (child == 0) {
        if (setegid(65534) != 0 || seteuid(65534) != 0) {
            _exit(2);
        }
        const std::string text = said(2, [&] { return create("sub"); });
        _exit(result_ == 1 &&
                      text == "Error: can't chmod '" + start + "': Operation not permitted\n"
                  ? 0
                  : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_TRUE(area_.exists("sub/._qxlnk_."));
}

TEST_F(RepairIndexTest, CreateFlushesTheIndexAndItsNameBeforeItRemovesAnything) {
    add_pair("a");
    flushes = {true, {}};
    const int result = create();
    const std::vector<std::string> seen = flushes.seen;
    flushes = {};
    EXPECT_EQ(0, result);
    EXPECT_THAT(seen, ElementsAre(area_.path(kIndex) + " before", area_.dir() + " before"));
    EXPECT_FALSE(area_.exists("a"));
}

TEST_F(RepairIndexTest, CreateRemovesNothingBeforeTheIndexIsOnTheDevice) {
    add_pair("a");
    const auto result = said_while_refused({SYS_fsync}, [&] { return create(); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: can't write '._qxlnk_.': Input/output error\n1", result.text);
    EXPECT_TRUE(area_.exists("a"));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, CreateThatCannotRemoveAFileLeavesTheDirectoryUnmarked) {
    add_pair("a");
    const std::string file = area_.path("a");
    const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
        // Nobody removes a file on which another is mounted.
        if (mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            return "no mount";
        }
        const std::string text = said(2, [&] { return create(); });
        return text + std::to_string(result_);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: can't remove '" + file + "': Device or resource busy\n1", result.text);
    EXPECT_TRUE(area_.exists(kIndex));
    EXPECT_EQ(0755U, area_.stat_of(".").st_mode & 07777);
}

TEST_F(RepairIndexTest, ManyRunsLeaveNoDescriptorOpen) {
    area_.add_file("own");
    const size_t before = qx_test::open_descriptors();
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(0, create());
        ASSERT_EQ(0, check("."));
        ASSERT_EQ(0, clone_dirindex(kIndex, "../copy", "old", "new"));
    }
    EXPECT_EQ(before, qx_test::open_descriptors());
}

// ---- remove_list

TEST_F(RepairIndexTest, RemoveListUnlinksInOrderAndFreesTheList) {
    for (const char* name : {"a", "b"}) {
        area_.add_file(name);
        namelist_add(&rl_info, name);
    }
    EXPECT_EQ(0, remove_list());
    EXPECT_EQ(nullptr, rl_info);
    EXPECT_FALSE(area_.exists("a"));
    EXPECT_FALSE(area_.exists("b"));
    EXPECT_EQ(0, remove_list());
}

TEST_F(RepairIndexTest, RemoveListStopsAtTheFirstFailureAndLeavesTheRest) {
    for (const char* name : {"a", "missing", "b"}) {
        namelist_add(&rl_info, name);
    }
    area_.add_file("a");
    area_.add_file("b");
    EXPECT_EQ("Error: can't remove '" + area_.dir() + "/missing': No such file or directory\n",
              said(2, [] { return remove_list(); }));
    EXPECT_EQ(1, result_);
    EXPECT_FALSE(area_.exists("a"));
    EXPECT_TRUE(area_.exists("b"));
    EXPECT_THAT(to_remove(), ElementsAre("missing", "b"));
}

TEST_F(RepairIndexTest, RemoveListTellsWhyEvenWhereTheWorkingDirectoryHasNoName) {
    const std::string directory = area_.dir();
    namelist_add(&rl_info, directory.c_str());
    const qx_test::WorkingDirectory work(area_.files().make_dir("gone"));
    ASSERT_EQ(0, rmdir(area_.files().path("gone").c_str()));
    EXPECT_EQ("Error: can't remove '/" + directory + "': Is a directory\n",
              said(2, [] { return remove_list(); }));
}

// ---- fsck_dirindex

class FsckDirindexTest : public RepairIndexTest {
protected:
    FsckDirindexTest() {
        add_pair("a");
        add_pair("b");
        EXPECT_EQ(0, create());
    }
};

TEST_F(FsckDirindexTest, ASoundIndexGives0) {
    EXPECT_EQ(0, check("."));
}

TEST_F(FsckDirindexTest, AMissingTemplateFileGives1AndACleanedIndexOnRequest) {
    ASSERT_EQ(0, unlink((area_.root() + "/os/a").c_str()));
    EXPECT_EQ(1, check("."));
    const std::string out = area_.files().path("cleaned");
    EXPECT_EQ(1, check(".", out.c_str()));
    EXPECT_THAT(items_of(out), ElementsAre("////os/b"));
    const std::string bytes = qx_test::read_file(out);
    EXPECT_EQ(qx_test::md5_start(""), bytes.substr(16, 4));
}

TEST_F(FsckDirindexTest, ACleanedIndexThatCannotBeCreatedGivesMinus1) {
    ASSERT_EQ(0, unlink((area_.root() + "/os/a").c_str()));
    EXPECT_EQ(-1, check(".", "none/cleaned"));
}

TEST_F(FsckDirindexTest, ADamagedIndexGivesMinus2) {
    area_.files().write("dir/._qxlnk_.", std::string(100, 'x'));
    EXPECT_EQ(-2, check("."));
}

TEST_F(FsckDirindexTest, TheDirectoryIsEnteredAndKept) {
    ASSERT_EQ(0, chdir("/"));
    EXPECT_EQ(0, check(area_.dir()));
    EXPECT_EQ(area_.dir(), fs::current_path());
}

TEST_F(FsckDirindexTest, ADirectoryThatCannotBeEnteredGives1) {
    EXPECT_EQ("Error: Can't chdir to 'missing': No such file or directory\n",
              said(2, [&] { return check("missing"); }));
    EXPECT_EQ(1, result_);
}

TEST_F(FsckDirindexTest, AMappingThatStaysIsReportedAndChangesNothing) {
    const auto result = said_while_refused({SYS_munmap}, [&] { return check("."); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(
        "Error: can't munmap dirindex file '" + area_.dir() + "/._qxlnk_.': Input/output error\n0",
        result.text);
}

TEST_F(FsckDirindexTest, AnIndexThatCannotBeMappedGivesMinus1) {
    ASSERT_EQ(0, unlink(kIndex));
    snprintf(current_path, sizeof(current_path), "/elsewhere");
    EXPECT_THAT(said(2, [&] { return check("."); }),
                testing::EndsWith("Error: can't mmap dirindex file '" + area_.dir() +
                                  "/._qxlnk_.': No such file or directory\n"));
    EXPECT_EQ(-1, result_);
}

}  // namespace
