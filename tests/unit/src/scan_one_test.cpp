// One entry scanned for an index: what becomes of each kind, with every result and message.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

#include "tests/support/private_root.h"
#include "tests/unit/src/checker_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned kNoDump = 0x40;  // a flag that any owner may set

class ScanOneTest : public CheckerTest {
protected:
    ScanOneTest() {
        clean_memory();
        tot = 0;
        dtot = 0;
        snprintf(current_path, sizeof(current_path), "/here");
    }

    int scan(const std::string& name, int mode = 0) {
        return scan_one(name.c_str(), mode, area_.root().c_str());
    }
    std::string said_by_scan(int level, const std::string& name, int mode = 0) {
        return said(level, [&] { return scan(name, mode); });
    }
    // A message that is printed at its level with that result, and not one level below.
    void expect_message(int level, const std::string& name, int result, const std::string& text) {
        EXPECT_EQ(text, said_by_scan(level, name)) << "level " << level;
        EXPECT_EQ(result, result_);
        EXPECT_EQ("", said_by_scan(level - 1, name));
    }
};

// ---- step 1

TEST_F(ScanOneTest, AMissingEntryCannotBeIndexed) {
    expect_message(2, "missing", 3,
                   "Warning: can't stat '/here/missing': No such file or directory\n");
}

TEST_F(ScanOneTest, ANameOf256BytesIsTakenAndALongerOneIsNot) {
    area_.add_file("x");
    std::string name;
    while (name.size() < 254) {
        name += "./";
    }
    name += "/x";
    ASSERT_EQ(256U, name.size());
    EXPECT_EQ(0, scan(name));
    const std::string longer = "./" + name;
    expect_message(2, longer, 3, "Warning: Too long name '/here/" + longer + "', fix it\n");
}

// ---- steps 2, 6, 7: plain files

TEST_F(ScanOneTest, APlainFileBecomesARegularEntryWithItsOwnInode) {
    area_.add_file("file");
    EXPECT_EQ(0, scan("file"));
    ASSERT_NE(nullptr, dlist);
    EXPECT_STREQ("file", dlist->name);
    EXPECT_EQ(4, dlist->namelen);
    EXPECT_EQ(8, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(area_.stat_of("file").st_ino) * 2, dlist->ino);
    EXPECT_EQ(nullptr, dlist->poolstr);
    EXPECT_EQ(1U, tot);
    EXPECT_EQ(0U, dtot);
    EXPECT_THAT(to_remove(), IsEmpty());
}

TEST_F(ScanOneTest, APlainFileIsNotedAtLevel4) {
    area_.add_file("file");
    expect_message(4, "file", 0, "WARNING: regular file 'file'\n");
}

TEST_F(ScanOneTest, EntriesAreAppendedInOrder) {
    area_.add_file("b");
    area_.add_file("a");
    scan("b");
    scan("a");
    EXPECT_STREQ("b", dlist->name);
    EXPECT_STREQ("a", dlist_end->name);
    EXPECT_EQ(2U, tot);
}

TEST_F(ScanOneTest, AHardLinkedFileIsNotedAndKept) {
    area_.add_template("os/x");
    area_.add_shortcut("x", "os/x");
    ASSERT_EQ(0, link("x", area_.files().path("second").c_str()));
    expect_message(4, "x", 0, "Warning: hard-linked file '/here/x'\n");
    EXPECT_NE(nullptr, dlist->poolstr);
    EXPECT_THAT(to_remove(), IsEmpty());
}

// ---- step 3: directories

TEST_F(ScanOneTest, ADirectoryBecomesAType4EntryAndCounts) {
    area_.add_dir("sub");
    EXPECT_EQ("WARNING: directory sub\n", said_by_scan(4, "sub"));
    EXPECT_EQ(0, result_);
    EXPECT_EQ(4, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(area_.stat_of("sub").st_ino) * 2, dlist->ino);
    EXPECT_EQ(1U, dtot);
    EXPECT_EQ(1U, tot);
}

TEST_F(ScanOneTest, DotsAreDirectoriesWhateverTheirBits) {
    ASSERT_EQ(0, chmod(".", 04755));
    area_.add_link("._qxlnk_.", "////os");
    expect_message(4, ".", 0, "WARNING: directory .\n");
    expect_message(4, "..", 0, "WARNING: directory ..\n");
}

TEST_F(ScanOneTest, ADirectoryWithAnIndexOfItsOwnIsPlain) {
    area_.add_dir("sub", 04755);
    area_.add_file("sub/._qxlnk_.");
    expect_message(4, "sub", 0, "WARNING: dirindex directory 'sub'\n");
    EXPECT_EQ(nullptr, dlist->poolstr);
    EXPECT_EQ(4, dlist->type);
}

TEST_F(ScanOneTest, ADirectoryWithTheBitAndNothingInItCannotBeIndexed) {
    area_.add_dir("sub", 04755);
    expect_message(2, "sub", 3, "Warning: readlink 'sub/._qxlnk_.': No such file or directory\n");
    EXPECT_EQ(nullptr, dlist);
    EXPECT_EQ(0U, tot);
}

TEST_F(ScanOneTest, ADirectoryThatIsAMagicLinkStandsForTheTemplatesDirectory) {
    const ino_t inode = area_.add_template_dir("os/sub", 04755);
    area_.add_dir("sub", 04755);
    area_.add_link("sub/._qxlnk_.", "////os/sub");
    EXPECT_EQ(0, scan("sub"));
    EXPECT_EQ(4, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(inode) * 2 + 1, dlist->ino);
    EXPECT_STREQ("////os", dlist->poolstr->text);
    EXPECT_EQ(1U, dtot);
    EXPECT_THAT(to_remove(), IsEmpty());
}

TEST_F(ScanOneTest, ADirectoryCountsAsOneEvenWhenItCannotBeIndexed) {
    area_.add_dir("sub", 04755);
    EXPECT_EQ(3, scan("sub"));
    EXPECT_EQ(1U, dtot);
}

TEST_F(ScanOneTest, ADirectoryThatStandsForATemplateFileTakesItsTypeAndStays) {
    area_.add_template("os/sub", 04755);
    area_.add_dir("sub", 04755);
    area_.add_link("sub/._qxlnk_.", "////os/sub");
    EXPECT_EQ(0, scan("sub"));
    EXPECT_EQ(8, dlist->type);
    EXPECT_THAT(to_remove(), IsEmpty());
}

TEST_F(ScanOneTest, ADirectorysLinkThatIsNotMagicCannotBeIndexed) {
    area_.add_dir("sub", 04755);
    area_.add_link("sub/._qxlnk_.", "os/sub");
    expect_message(2, "sub", 3, "Not a magic link '/here/sub' -> os/sub\n");
}

// ---- step 4: symbolic links

TEST_F(ScanOneTest, AnOrdinarySymlinkBecomesAType10Entry) {
    area_.add_link("link", "///os/x");
    expect_message(4, "link", 0, "WARNING: symlink link -> ///os/x\n");
    EXPECT_EQ(10, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(area_.stat_of("link").st_ino) * 2, dlist->ino);
}

TEST_F(ScanOneTest, AMagicSymlinkStandsForTheTemplateFile) {
    const ino_t inode = area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    EXPECT_EQ("", said_by_scan(4, "x"));
    EXPECT_EQ(0, result_);
    EXPECT_EQ(8, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(inode) * 2 + 1, dlist->ino);
    EXPECT_STREQ("////os", dlist->poolstr->text);
    EXPECT_THAT(to_remove(), ElementsAre("x"));
    EXPECT_TRUE(S_ISLNK(area_.stat_of("x").st_mode));
}

TEST_F(ScanOneTest, AMagicSymlinkBecomesAShortcutWhenAsked) {
    area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    struct stat before = area_.stat_of("x");
    before.st_mtim = {1000000000, 0};
    ASSERT_EQ(0, set_attr("x", &before));
    EXPECT_EQ("Substitute magic symlink '/here/x' for shortcut\n", said_by_scan(4, "x", 0x10));
    EXPECT_EQ(0, result_);
    const struct stat after = area_.stat_of("x");
    EXPECT_EQ(S_IFREG | 01777U, after.st_mode);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(1000000000, after.st_mtime);
    EXPECT_EQ("////os/x", qx_test::read_file("x"));
    EXPECT_THAT(to_remove(), ElementsAre("x"));
    EXPECT_EQ(8, dlist->type);
}

TEST_F(ScanOneTest, TheSubstitutionIsNotSaidBelowLevel4) {
    area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    EXPECT_EQ("", said_by_scan(3, "x", 0x10));
    EXPECT_EQ(0, result_);
}

TEST_F(ScanOneTest, OtherBitsOfTheModeLeaveASymlink) {
    area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    EXPECT_EQ(0, scan("x", ~0x10));
    EXPECT_TRUE(S_ISLNK(area_.stat_of("x").st_mode));
}

TEST_F(ScanOneTest, AnOrdinarySymlinkIsLeftWhenMagicOnesAreTurned) {
    area_.add_link("link", "os/x");
    EXPECT_EQ(0, scan("link", 0x10));
    EXPECT_TRUE(S_ISLNK(area_.stat_of("link").st_mode));
}

TEST_F(ScanOneTest, ASymlinkThatCannotBeRemovedIsFatal) {
    area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    const std::string dir = area_.dir();
    const std::string root = area_.root();
    const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
        if (mount(dir.c_str(), dir.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, dir.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) != 0 ||
            chdir(dir.c_str()) != 0) {
            return "no read-only mount";
        }
        const std::string text = said(2, [&] { return scan_one("x", 0x10, root.c_str()); });
        return text + std::to_string(result_);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: Can't remove symlink '/here/x': Read-only file system\n1", result.text);
}

TEST_F(ScanOneTest, ASymlinkComesBackWhenNoShortcutCanBeMade) {
    area_.add_template("os/x", 0777);
    area_.add_link("x", "////os/x");
    struct stat before = area_.stat_of("x");
    before.st_mtim = {1000000000, 0};
    ASSERT_EQ(0, set_attr("x", &before));
    struct rlimit limit {};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
    const struct rlimit none = {0, limit.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &none));
    const int result = scan("x", 0x10);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    signal(SIGXFSZ, handler);
    EXPECT_EQ(1, result);
    const struct stat after = area_.stat_of("x");
    EXPECT_TRUE(S_ISLNK(after.st_mode));
    EXPECT_EQ(1000000000, after.st_mtime);
    char text[64] = {};
    EXPECT_EQ(8, readlink("x", text, sizeof(text)));
    EXPECT_STREQ("////os/x", text);
    EXPECT_EQ(nullptr, dlist);
}

TEST_F(ScanOneTest, ATextTooLongBesideTheRootCannotBeIndexed) {
    area_.add_link("x", "////" + std::string(4096 - area_.root().size() - 4 + 1, 'a'));
    EXPECT_EQ("Error: can't readlink '/here/x': File name too long\n", said_by_scan(2, "x"));
    EXPECT_EQ(3, result_);
    area_.add_sticky("s", "////" + std::string(4096 - area_.root().size() - 4 + 1, 'a'));
    EXPECT_EQ("Error: can't read '/here/s': File name too long\n", said_by_scan(2, "s"));
    EXPECT_EQ(3, result_);
    area_.add_dir("d", 04755);
    area_.add_link("d/._qxlnk_.", "////" + std::string(4096 - area_.root().size() - 4 + 1, 'a'));
    EXPECT_EQ("Warning: readlink 'd/._qxlnk_.': File name too long\n", said_by_scan(2, "d"));
    EXPECT_EQ(3, result_);
}

TEST_F(ScanOneTest, ATextThatJustFitsIsLookedUp) {
    const std::string text = "////" + std::string(4096 - area_.root().size() - 4, 'a');
    area_.add_sticky("s", text);
    expect_message(
        2, "s", 3,
        "Warning: can't stat template '" + area_.root() + text + "': File name too long\n");
}

TEST_F(ScanOneTest, OnlyAMagicTextNeedsToFitBesideTheRoot) {
    const std::string text(4095, 'a');
    area_.add_link("link", text);
    EXPECT_EQ(0, scan("link"));
    EXPECT_EQ(10, dlist->type);
    area_.add_sticky("s", text);
    EXPECT_THAT(said_by_scan(2, "s"), testing::StartsWith("Not a magic link '/here/s' -> aaa"));
}

TEST_F(ScanOneTest, ARootThatLeavesNoRoomForATextIndexesNoLink) {
    area_.add_link("x", "////os/x");
    for (const size_t length : {4093U, 4096U, 5000U}) {
        const std::string root(length, 'r');
        EXPECT_EQ("Error: can't readlink '/here/x': File name too long\n",
                  said(2, [&] { return scan_one("x", 0, root.c_str()); }));
        EXPECT_EQ(3, result_);
    }
    EXPECT_EQ(nullptr, dlist);
}

TEST_F(ScanOneTest, AShortcutIsNotLookedAtBeyond4096Bytes) {
    const std::string text = "////" + std::string(5000, 'a');
    area_.add_sticky("s", text);
    EXPECT_EQ("Warning: can't stat template '" + text.substr(0, 4096) + "': File name too long\n",
              said(2, [] { return scan_one("s", 0, ""); }));
    EXPECT_EQ(3, result_);
}

// ---- step 4: sticky files

TEST_F(ScanOneTest, AShortcutStandsForTheTemplateFile) {
    const ino_t inode = area_.add_template("os/lib/libc.so.6");
    area_.add_shortcut("libc.so.6", "os/lib/libc.so.6");
    EXPECT_EQ("", said_by_scan(4, "libc.so.6"));
    EXPECT_EQ(0, result_);
    EXPECT_EQ(8, dlist->type);
    EXPECT_EQ(static_cast<uint32_t>(inode) * 2 + 1, dlist->ino);
    EXPECT_STREQ("////os/lib", dlist->poolstr->text);
    EXPECT_THAT(to_remove(), ElementsAre("libc.so.6"));
}

TEST_F(ScanOneTest, AShortcutToASymlinkTakesTheTemplatesType) {
    area_.files().make_link("template/os/x", "elsewhere");
    area_.add_shortcut("x", "os/x", 0777);
    EXPECT_EQ(0, scan("x"));
    EXPECT_EQ(10, dlist->type);
}

TEST_F(ScanOneTest, EntriesOfOneTemplateDirectoryShareALinkString) {
    for (const char* name : {"a", "b"}) {
        area_.add_template(std::string("os/") + name);
        area_.add_shortcut(name, std::string("os/") + name);
        EXPECT_EQ(0, scan(name));
    }
    EXPECT_EQ(dlist->poolstr, dlist_end->poolstr);
}

TEST_F(ScanOneTest, AFileOfTheTemplateRootHasALinkStringOfThreeSlashes) {
    area_.add_template("x");
    area_.add_shortcut("x", "x");
    EXPECT_EQ(0, scan("x"));
    EXPECT_STREQ("///", dlist->poolstr->text);
}

TEST_F(ScanOneTest, AStickyFileWithOtherContentCannotBeIndexed) {
    area_.add_sticky("s", "plain content");
    expect_message(2, "s", 3, "Not a magic link '/here/s' -> plain content\n");
    area_.add_sticky("empty", "");
    expect_message(2, "empty", 3, "Not a magic link '/here/empty' -> \n");
    EXPECT_EQ(nullptr, dlist);
    EXPECT_EQ(0U, tot);
}

TEST_F(ScanOneTest, AShortcutThatCannotBeOpenedCannotBeIndexed) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take another user's identity";
    }
    area_.add_sticky("s", "////os/x", 0600);
    EXPECT_EQ("Error: can't open '/here/s': Permission denied\n3",
              said_without_rights([&] { return scan("s"); }));
}

TEST_F(ScanOneTest, AShortcutWithInodeFlagsIsKept) {
    area_.add_template("os/x");
    area_.add_shortcut("x", "os/x");
    unsigned flags = 0;
    if (get_eattr("x", &flags) != 0 || set_eattr("x", flags | kNoDump) != 0) {
        GTEST_SKIP() << "the file system here has no inode flags";
    }
    EXPECT_EQ("ext attributes '/here/x'\n", said_by_scan(2, "x"));
    EXPECT_EQ(0, result_);
    EXPECT_THAT(to_remove(), IsEmpty());
    EXPECT_NE(nullptr, dlist->poolstr);
    EXPECT_EQ("", said_by_scan(1, "x"));
}

TEST_F(ScanOneTest, OtherFileTypesCannotBeIndexed) {
    ASSERT_EQ(0, mkfifo("pipe", 0600));
    expect_message(4, "pipe", 3, "Special file '/here/pipe'\n");
}

// ---- step 5

TEST_F(ScanOneTest, AMissingTemplateFileCannotBeIndexed) {
    area_.add_shortcut("x", "os/x");
    expect_message(
        2, "x", 3,
        "Warning: can't stat template '" + area_.root() + "////os/x': No such file or directory\n");
}

TEST_F(ScanOneTest, ATemplateDirectoryForAFileIsSomethingWrong) {
    area_.add_template_dir("os/x");
    area_.add_shortcut("x", "os/x");
    expect_message(2, "x", 3, "Error: magic link ////os/x points to something wrong\n");
    EXPECT_THAT(to_remove(), IsEmpty());
}

TEST_F(ScanOneTest, ASpecialTemplateFileIsSomethingWrong) {
    area_.add_template_dir("os");
    ASSERT_EQ(0, mkfifo((area_.root() + "/os/x").c_str(), 0644));
    area_.add_shortcut("x", "os/x");
    expect_message(2, "x", 3, "Error: magic link ////os/x points to something wrong\n");
}

TEST_F(ScanOneTest, AHardLinkOfTheTemplateFileUnderTheEntrysNameIsTakenAndKept) {
    area_.add_template("os/old");
    ASSERT_EQ(0, link((area_.root() + "/os/old").c_str(), (area_.root() + "/os/x").c_str()));
    area_.add_shortcut("x", "os/old");
    EXPECT_EQ("Warning: check hard link '/here/x' -> '////os/x'\n", said_by_scan(4, "x"));
    EXPECT_EQ(0, result_);
    EXPECT_STREQ("////os", dlist->poolstr->text);
    EXPECT_THAT(to_remove(), IsEmpty());
    EXPECT_EQ("", said_by_scan(3, "x"));
}

TEST_F(ScanOneTest, AnotherOrNoFileUnderTheEntrysNameCannotBeIndexed) {
    area_.add_template("os/old");
    area_.add_shortcut("x", "os/old");
    const std::string text =
        "Warning: check hard link '/here/x' -> '////os/x'\n"
        "Warning: name mistmatch on '/here/x'\n";
    expect_message(4, "x", 3, text);
    area_.add_template("os/x");
    expect_message(4, "x", 3, text);
}

TEST_F(ScanOneTest, ANameThatDoesNotFitIntoTheTextCannotBeIndexed) {
    area_.add_template("old");
    const std::string root = area_.root();
    const std::string text = std::string(4095 - root.size() - 3, '/') + "old";
    area_.add_sticky("longer", text);
    expect_message(4, "longer", 3,
                   "Warning: check hard link '/here/longer' -> '" + text +
                       "'\nWarning: name mistmatch on '/here/longer'\n");
}

TEST_F(ScanOneTest, OtherPermissionBitsAreNotedAndKeepTheFile) {
    area_.add_template("os/x", 0644);
    area_.add_shortcut("x", "os/x", 0600);
    EXPECT_EQ("Warning: file attributes mistmatch on '/here/x'\n", said_by_scan(4, "x"));
    EXPECT_EQ(0, result_);
    EXPECT_THAT(to_remove(), IsEmpty());
    EXPECT_EQ("", said_by_scan(3, "x"));
}

TEST_F(ScanOneTest, AnotherOwnerIsNotedAndKeepsTheFile) {
    area_.add_template("os/x");
    area_.add_shortcut("x", "os/x");
    if (lchown("x", 1234, getegid()) != 0) {
        GTEST_SKIP() << "only root may give files away";
    }
    ASSERT_EQ(0, chmod("x", 01644));
    EXPECT_EQ(0, scan("x"));
    EXPECT_THAT(to_remove(), IsEmpty());
}

}  // namespace
