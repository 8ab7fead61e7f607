// A directory scanned for an index: what is listed, what counts, what stops.
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "tests/support/private_root.h"
#include "tests/unit/src/checker_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

class ScanDirTest : public CheckerTest {
protected:
    int scan(int mode = 0) { return scan_dir_for_index(area_.root().c_str(), mode); }
    static std::multiset<std::string> listed() {
        std::multiset<std::string> names;
        for (const struct dent* entry = dlist; entry != nullptr; entry = entry->next) {
            names.emplace(entry->name);
        }
        return names;
    }
};

TEST_F(ScanDirTest, ListsEveryEntryAndTheDots) {
    area_.add_file("a");
    area_.add_dir("b");
    EXPECT_EQ(0, scan());
    EXPECT_THAT(listed(), UnorderedElementsAre(".", "..", "a", "b"));
    EXPECT_EQ(4U, tot);
    EXPECT_EQ(3U, dtot);
}

TEST_F(ScanDirTest, AnEmptyDirectoryIsNotIndexable) {
    EXPECT_EQ(3, scan());
    EXPECT_THAT(listed(), UnorderedElementsAre(".", ".."));
}

TEST_F(ScanDirTest, TheAreasOwnFilesAreNotListedAndAreNoContent) {
    area_.add_file(".qxpkgref");
    area_.add_file("._qxlnk_.");
    EXPECT_EQ(3, scan());
    area_.add_file("a");
    EXPECT_EQ(0, scan());
    EXPECT_THAT(listed(), UnorderedElementsAre(".", "..", "a"));
}

TEST_F(ScanDirTest, NamesThatOnlyBeginLikeTheAreasOwnAreListed) {
    area_.add_file(".qxpkgref2");
    area_.add_file("._qxlnk_.x");
    area_.add_file(".qxpkgre");
    EXPECT_EQ(0, scan());
    EXPECT_THAT(listed(), UnorderedElementsAre(".", "..", ".qxpkgref2", "._qxlnk_.x", ".qxpkgre"));
}

TEST_F(ScanDirTest, AnEntryThatCannotBeIndexedGives3AndTheScanGoesOn) {
    area_.add_file("a");
    area_.add_file("z");
    ASSERT_EQ(0, mkfifo("m", 0600));
    EXPECT_EQ(3, scan());
    EXPECT_THAT(listed(), UnorderedElementsAre(".", "..", "a", "z"));
}

TEST_F(ScanDirTest, SaysWhatItScannedAtLevel4) {
    area_.add_file("a");
    EXPECT_THAT(said(4, [&] { return scan(); }), HasSubstr("Scanned 3 entries, 2 dirs\n"));
    EXPECT_THAT(said(3, [&] { return scan(); }), Not(HasSubstr("Scanned")));
}

TEST_F(ScanDirTest, MessagesNameTheDirectoryThatIsScanned) {
    area_.add_shortcut("x", "os/x");
    snprintf(current_path, sizeof(current_path), "/elsewhere");
    area_.add_sticky("s", "text");
    EXPECT_THAT(said(2, [&] { return scan(); }),
                HasSubstr("Not a magic link '" + area_.dir() + "/s' -> text\n"));
}

TEST_F(ScanDirTest, BeginsAnew) {
    area_.add_template("os/x");
    area_.add_shortcut("x", "os/x");
    EXPECT_EQ(0, scan());
    emitted = 5;
    EXPECT_EQ(0, scan());
    EXPECT_EQ(3U, tot);
    EXPECT_EQ(2U, dtot);
    EXPECT_EQ(0U, emitted);
    EXPECT_THAT(listed(), UnorderedElementsAre(".", "..", "x"));
    EXPECT_THAT(to_remove(), ElementsAre("x"));
}

TEST_F(ScanDirTest, AFatalEntryStopsAtOnceWith1) {
    for (const char* name : {"a", "b", "c"}) {
        area_.add_template(std::string("os/") + name, 0777);
        area_.add_link(name, std::string("////os/") + name);
    }
    const std::string dir = area_.dir();
    const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
        if (mount(dir.c_str(), dir.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, dir.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) != 0 ||
            chdir(dir.c_str()) != 0) {
            return "no read-only mount";
        }
        const std::string text = said(4, [&] { return scan(0x10); });
        const bool said_once = text.find("Can't remove") == text.rfind("Can't remove");
        const bool summed_up = text.find("Scanned") != std::string::npos;
        return std::to_string(result_) + (said_once ? " once" : " more") +
               (summed_up ? " summed up" : "");
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("1 once", result.text);
}

TEST_F(ScanDirTest, EveryMagicSymlinkOfALargeDirectoryIsTurnedAndListedOnce) {
    for (int i = 0; i < 500; ++i) {
        const std::string name = "entry-with-a-longer-name-" + std::to_string(i);
        area_.add_template("os/" + name, 0777);
        area_.add_link(name, "////os/" + name);
    }
    EXPECT_EQ(0, scan(0x10));
    EXPECT_EQ(502U, tot);
    EXPECT_EQ(500U, to_remove().size());
    const auto names = listed();
    EXPECT_EQ(502U, std::set<std::string>(names.begin(), names.end()).size());
}

TEST_F(ScanDirTest, ADirectoryThatCannotBeOpenedIsFatal) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take another user's identity";
    }
    ASSERT_EQ(0, chmod(".", 0700));
    EXPECT_EQ("Error: Can't open dir '" + area_.dir() + "': Permission denied\n1",
              said_without_rights([&] { return scan(); }));
}

}  // namespace
