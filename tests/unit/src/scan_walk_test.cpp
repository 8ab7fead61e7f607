// The walk over an area: kinds and link texts handed to the visitor, order, results, messages.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "tests/support/private_root.h"
#include "tests/unit/src/checker_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct Visit {
    std::string path;
    std::string link;  // "-" when there was none
    int kind;
    struct stat st;
};

// Collects what is visited, and answers as told.
struct Visitor {
    std::vector<Visit> visits;
    std::map<std::string, int> answers;

    static int call(void* cookie, const char* path, const char* link, int kind,
                    const struct stat* st) {
        auto* self = static_cast<Visitor*>(cookie);
        self->visits.push_back({path, link != nullptr ? link : "-", kind, *st});
        const auto answer = self->answers.find(path);
        return answer != self->answers.end() ? answer->second : 0;
    }
    // "path kind link" of each visit.
    std::vector<std::string> seen() const {
        std::vector<std::string> result;
        for (const Visit& visit : visits) {
            char kind[16];
            snprintf(kind, sizeof(kind), "%#x", static_cast<unsigned>(visit.kind));
            result.push_back(visit.path + " " + kind + " " + visit.link);
        }
        return result;
    }
};

constexpr std::initializer_list<long> kReadLinkCalls = {
    SYS_readlinkat,
#ifdef SYS_readlink
    SYS_readlink,
#endif
};

class WalkTest : public CheckerTest {
protected:
    ~WalkTest() override {
        while (queue_.head != nullptr) {
            struct scan_dir* item = queue_.head;
            queue_.head = item->next;
            free(item->path);
            free(item);
        }
    }
    int walk(const std::string& dir) {
        return scan_one_dir(dir.c_str(), &queue_, &Visitor::call, &visitor_);
    }
    int walk_all(const std::string& path) {
        return scan_private(path.c_str(), &Visitor::call, &visitor_);
    }

    Visitor visitor_;
    struct scan_queue queue_ = {nullptr, 0};
};

// ---- kinds

TEST_F(WalkTest, TellsEachKindAndItsLink) {
    area_.add_shortcut("shortcut", "os/s");
    area_.add_sticky("sticky", "plain");
    area_.add_file("file");
    area_.add_link("magic", "////os/m");
    area_.add_link("link", "os/l");
    area_.add_dir("dir");
    ASSERT_EQ(0, mkfifo("pipe", 0600));
    EXPECT_EQ(0, walk("."));
    EXPECT_THAT(
        visitor_.seen(),
        UnorderedElementsAre("shortcut 0x1 ////os/s", "sticky 0x4 -", "file 0x4 -",
                             "magic 0x2 ////os/m", "link 0x8 os/l", "dir 0x10 -", "pipe 0x20 -"));
}

TEST_F(WalkTest, HandsOverTheStatOfTheEntryItself) {
    area_.add_link("magic", "////os/m");
    EXPECT_EQ(0, walk("."));
    EXPECT_EQ(area_.stat_of("magic").st_ino, visitor_.visits.at(0).st.st_ino);
    EXPECT_TRUE(S_ISLNK(visitor_.visits.at(0).st.st_mode));
}

TEST_F(WalkTest, AShortcutNeedsAllFourSlashes) {
    area_.add_sticky("three", "///x");
    area_.add_sticky("empty", "");
    area_.add_link("link", "///x");
    EXPECT_EQ(0, walk("."));
    EXPECT_THAT(visitor_.seen(),
                UnorderedElementsAre("three 0x4 -", "empty 0x4 -", "link 0x8 ///x"));
}

TEST_F(WalkTest, ALongShortcutIsCutAt4096Bytes) {
    const std::string text = "////" + std::string(5000, 'a');
    area_.add_sticky("long", text);
    EXPECT_EQ(0, walk("."));
    EXPECT_EQ(text.substr(0, 4096), visitor_.visits.at(0).link);
}

TEST_F(WalkTest, ALongSymlinkIsGivenWhole) {
    const std::string magic = "////" + std::string(4091, 'a');
    const std::string plain(4095, 'a');
    area_.add_link("magic", magic);
    area_.add_link("plain", plain);
    EXPECT_EQ(0, walk("."));
    EXPECT_THAT(visitor_.seen(), UnorderedElementsAre("magic 0x2 " + magic, "plain 0x8 " + plain));
}

TEST_F(WalkTest, PathsAreJoinedExceptBelowDot) {
    area_.add_file("sub/file");
    EXPECT_EQ(0, walk("sub"));
    EXPECT_THAT(visitor_.seen(), ElementsAre("sub/file 0x4 -"));
}

// ---- the directory's own bits

TEST_F(WalkTest, AMagicDirectoryIsMarkedOnEachEntry) {
    area_.add_dir("sub", 04755);
    area_.add_link("sub/._qxlnk_.", "////os/sub");
    area_.add_file("sub/file");
    EXPECT_EQ(0, walk("sub"));
    EXPECT_THAT(visitor_.seen(),
                UnorderedElementsAre("sub/._qxlnk_. 0x202 ////os/sub", "sub/file 0x204 -"));
}

TEST_F(WalkTest, ADirectoryInTheMarksPlaceMarksNothing) {
    area_.add_dir("sub", 04755);
    area_.add_dir("sub/._qxlnk_.");
    EXPECT_EQ(0, walk("sub"));
    EXPECT_THAT(visitor_.seen(), ElementsAre("sub/._qxlnk_. 0x10 -"));
}

TEST_F(WalkTest, WithoutTheBitAMagicMarkIsSkippedAndOthersAreNot) {
    area_.add_link("._qxlnk_.", "////os/sub");
    EXPECT_EQ(0, walk("."));
    EXPECT_THAT(visitor_.seen(), IsEmpty());
    area_.add_link("sub/._qxlnk_.", "os/sub");
    EXPECT_EQ(0, walk("sub"));
    EXPECT_THAT(visitor_.seen(), ElementsAre("sub/._qxlnk_. 0x8 os/sub"));
}

TEST_F(WalkTest, WithoutTheBitAnIndexFileIsAFile) {
    area_.add_file("._qxlnk_.");
    EXPECT_EQ(0, walk("."));
    EXPECT_THAT(visitor_.seen(), ElementsAre("._qxlnk_. 0x4 -"));
}

// ---- results

TEST_F(WalkTest, AMissingDirectoryGivesMinus1) {
    EXPECT_EQ(-1, walk("missing"));
}

TEST_F(WalkTest, WhatCannotBeOpenedAsDirectoryGivesMinus1AndAMessage) {
    area_.add_file("file");
    EXPECT_EQ("Error: can't open directory 'file': Not a directory\n",
              said(2, [&] { return walk("file"); }));
    EXPECT_EQ(-1, result_);
    EXPECT_EQ("", said(1, [&] { return walk("file"); }));
}

TEST_F(WalkTest, ALinkToADirectoryIsNotFollowed) {
    area_.add_file("sub/file");
    area_.add_link("link", "sub");
    EXPECT_EQ("Error: can't open directory 'link': Not a directory\n",
              said(2, [&] { return walk("link"); }));
    EXPECT_EQ(-1, result_);
}

TEST_F(WalkTest, ADirectoryThatCannotBeReadToItsEndGivesMinus1AndAMessage) {
    const auto result = said_while_refused({SYS_getdents64}, [&] { return walk("."); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: can't read directory '.': Input/output error\n-1", result.text);
}

TEST_F(WalkTest, AnUnreadableShortcutGivesMinus2AndAMessage) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take another user's identity";
    }
    area_.add_sticky("s", "////x", 0600);
    EXPECT_EQ("Error: error read shortcut's': Permission denied\n-2",
              said_without_rights([&] { return walk("."); }));
}

TEST_F(WalkTest, ASymlinkThatCannotBeReadGivesMinus2AndAMessage) {
    area_.add_link("l", "////os/l");
    const auto result = said_while_refused(kReadLinkCalls, [&] { return walk("."); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: error read symlink 'l': Input/output error\n-2", result.text);
}

TEST_F(WalkTest, AnEntryThatIsGoneWhenItsTurnComesGivesMinus2) {
    // The names of so small a directory are read in one piece, before the first visit.
    area_.add_file("a");
    area_.add_file("b");
    struct Remover {
        static int call(void*, const char* path, const char*, int, const struct stat*) {
            return unlink(strcmp(path, "a") == 0 ? "b" : "a");
        }
    };
    EXPECT_EQ("", said(2, [&] { return scan_one_dir(".", &queue_, &Remover::call, nullptr); }));
    EXPECT_EQ(-2, result_);
}

TEST_F(WalkTest, ANonZeroAnswerEndsTheWalkAndIsTheResult) {
    area_.add_file("a");
    area_.add_file("b");
    visitor_.answers = {{"a", 7}, {"b", 7}};
    EXPECT_EQ(7, walk("."));
    EXPECT_EQ(1U, visitor_.visits.size());
}

// ---- the queue

TEST_F(WalkTest, ADirectoryIsPushedAtTheHeadAfterItsVisit) {
    area_.add_dir("a");
    EXPECT_EQ(0, walk("."));
    area_.add_dir("a/b");
    EXPECT_EQ(0, walk("a"));
    EXPECT_EQ(2, queue_.count);
    ASSERT_NE(nullptr, queue_.head);
    EXPECT_STREQ("a/b", queue_.head->path);
    EXPECT_STREQ("a", queue_.head->next->path);
}

TEST_F(WalkTest, ADirectoryThatTheVisitorRefusesIsNotPushed) {
    area_.add_dir("a");
    visitor_.answers = {{"a", 1}};
    EXPECT_EQ(1, walk("."));
    EXPECT_EQ(0, queue_.count);
}

TEST_F(WalkTest, ADirectoryBelowAMarkedOneIsPushedToo) {
    area_.add_dir("sub", 04755);
    area_.add_link("sub/._qxlnk_.", "////os/sub");
    area_.add_dir("sub/inner");
    EXPECT_EQ(0, walk("sub"));
    ASSERT_NE(nullptr, queue_.head);
    EXPECT_STREQ("sub/inner", queue_.head->path);
}

// ---- scan_private

TEST_F(WalkTest, TheWholeAreaIsWalkedLastFoundFirst) {
    area_.add_file("a/1/x");
    area_.add_file("a/y");
    EXPECT_EQ(0, walk_all(area_.dir()));
    const auto seen = visitor_.seen();
    EXPECT_EQ("a 0x10 -", seen.at(0));
    EXPECT_EQ("a/1/x 0x4 -", seen.back());
    EXPECT_EQ(4U, seen.size());
}

TEST_F(WalkTest, SubdirectoriesFoundLastAreVisitedFirst) {
    for (const char* name : {"a/f", "b/f", "c/f"}) {
        area_.add_file(name);
    }
    EXPECT_EQ(0, walk_all(area_.dir()));
    std::vector<std::string> found;
    std::vector<std::string> visited;
    for (const Visit& visit : visitor_.visits) {
        if (visit.kind == 0x10) {
            found.insert(found.begin(), visit.path);
        } else {
            visited.push_back(visit.path.substr(0, 1));
        }
    }
    EXPECT_EQ(found, visited);
}

TEST_F(WalkTest, TheWalkComesBackToWhereItStarted) {
    area_.add_file("a/x");
    EXPECT_EQ(0, walk_all("a"));
    EXPECT_EQ(area_.dir(), std::filesystem::current_path());
    visitor_.answers = {{"x", 9}};
    EXPECT_EQ(9, walk_all("a"));
    EXPECT_EQ(area_.dir(), std::filesystem::current_path());
}

TEST_F(WalkTest, AnAreaThatCannotBeEnteredGivesMinus1AndAMessage) {
    EXPECT_EQ("Error: can't chdir to 'missing': No such file or directory\n",
              said(2, [&] { return walk_all("missing"); }));
    EXPECT_EQ(-1, result_);
}

TEST_F(WalkTest, NoWayBackGivesMinus2AndAMessage) {
    const std::string start = area_.files().make_dir("start");
    const qx_test::WorkingDirectory work(start);
    struct Remover {
        static int call(void* cookie, const char*, const char*, int, const struct stat*) {
            return rmdir(static_cast<const char*>(cookie));
        }
    };
    area_.add_file("x");
    const std::string text = said(2, [&] {
        return scan_private(area_.dir().c_str(), &Remover::call, const_cast<char*>(start.c_str()));
    });
    EXPECT_EQ(-2, result_);
    EXPECT_EQ("Error: can't chdir to '" + start + "': No such file or directory\n", text);
}

TEST_F(WalkTest, AResultOfADirectoryStopsTheWholeWalk) {
    for (const char* name : {"a/f", "b/f"}) {
        area_.add_file(name);
    }
    visitor_.answers = {{"a/f", -5}, {"b/f", -5}};
    EXPECT_EQ(-5, walk_all(area_.dir()));
    EXPECT_EQ(3U, visitor_.visits.size());
}

// ---- indexed directories

class IndexedWalkTest : public WalkTest {
protected:
    // An indexed directory "sub" that held a shortcut for each of these names.
    void make_indexed(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            area_.add_template("os/" + name);
            area_.add_shortcut("sub/" + name, "os/" + name);
        }
        const qx_test::WorkingDirectory work(area_.dir());
        ASSERT_EQ(0, create_dirindex("sub", "._qxlnk_.", area_.root().c_str(), 0));
    }
    qx_test::PrivateRoot node() const {
        return qx_test::PrivateRoot().show(area_.root(), "/qx/template");
    }
    // What is seen and said on a walk of "sub" where the template area is in its place.
    std::string seen_on_node(int level = 0) {
        const auto result = node().run([&] {
            std::string text = said(level, [&] { return walk("sub"); });
            text += std::to_string(result_) + "\n";
            std::vector<std::string> seen = visitor_.seen();
            std::sort(seen.begin(), seen.end());
            for (const std::string& line : seen) {
                text += line + "\n";
            }
            return text;
        });
        skip_ = result.ran ? "" : result.text;
        return result.text;
    }
    std::string skip_;
};

TEST_F(IndexedWalkTest, WhatTheIndexAloneHoldsIsVisitedAfterTheEntries) {
    make_indexed({"a", "b"});
    area_.add_file("sub/own");
    const std::string seen = seen_on_node();
    if (!skip_.empty()) {
        GTEST_SKIP() << skip_;
    }
    EXPECT_EQ(
        "0\n"
        "sub/a 0x140 ////os/a\n"
        "sub/b 0x140 ////os/b\n"
        "sub/own 0x104 -\n",
        seen);
}

TEST_F(IndexedWalkTest, ANameThatIsAlsoInTheDirectoryIsNotVisitedTwice) {
    make_indexed({"a", "b"});
    area_.add_file("sub/a");
    const std::string seen = seen_on_node();
    if (!skip_.empty()) {
        GTEST_SKIP() << skip_;
    }
    EXPECT_EQ(
        "0\n"
        "sub/a 0x104 -\n"
        "sub/b 0x140 ////os/b\n",
        seen);
}

TEST_F(IndexedWalkTest, AnItemWithoutTemplateFileIsReportedAndPassedOver) {
    make_indexed({"a", "b"});
    ASSERT_EQ(0, unlink((area_.root() + "/os/a").c_str()));
    const std::string seen = seen_on_node(2);
    if (!skip_.empty()) {
        GTEST_SKIP() << skip_;
    }
    EXPECT_EQ(
        "Error: can't stat '/qx/template////os/a': No such file or directory\n"
        "0\n"
        "sub/b 0x140 ////os/b\n",
        seen);
}

TEST_F(IndexedWalkTest, TheVisitorsAnswerToAnItemEndsTheWalk) {
    make_indexed({"a", "b"});
    visitor_.answers = {{"sub/a", 3}, {"sub/b", 3}};
    const std::string seen = seen_on_node();
    if (!skip_.empty()) {
        GTEST_SKIP() << skip_;
    }
    EXPECT_THAT(seen, testing::StartsWith("3\nsub/"));
    EXPECT_EQ(2, std::count(seen.begin(), seen.end(), '\n'));
}

TEST_F(IndexedWalkTest, AnAnswerToAnEntryEndsTheWalkBeforeTheIndexIsRead) {
    area_.add_dir("sub", 04755);
    area_.add_file("sub/._qxlnk_.", "no index");
    area_.add_file("sub/own");
    visitor_.answers = {{"sub/own", 7}};
    EXPECT_EQ("", said(2, [&] { return walk("sub"); }));
    EXPECT_EQ(7, result_);
}

TEST_F(IndexedWalkTest, TheStatOfAnItemIsThatBehindATemplatesLink) {
    make_indexed({"a", "b"});
    ASSERT_EQ(0, unlink((area_.root() + "/os/a").c_str()));
    area_.files().make_link("template/os/a", "b");
    const auto result = node().run([&] {
        walk("sub");
        const Visit* item = nullptr;
        for (const Visit& visit : visitor_.visits) {
            item = visit.path == "sub/a" ? &visit : item;
        }
        return std::string(item != nullptr && S_ISREG(item->st.st_mode) ? "a file" : "a link");
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("a file", result.text);
}

TEST_F(IndexedWalkTest, PathsOfItemsKeepTheDirectoryEvenWhenItIsDot) {
    make_indexed({"a"});
    const auto result = node().run([&]() -> std::string {
        if (chdir("sub") != 0) {
            return "no directory";
        }
        walk(".");
        return visitor_.seen().empty() ? "nothing" : visitor_.seen().at(0);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("./a 0x140 ////os/a", result.text);
}

TEST_F(IndexedWalkTest, TheStatOfAnItemIsThatOfItsTemplateFile) {
    make_indexed({"a"});
    const ino_t inode = qx_test::lstat_of(area_.root() + "/os/a").st_ino;
    const auto result = node().run([&] {
        walk("sub");
        return std::to_string(visitor_.visits.empty() ? 0 : visitor_.visits.at(0).st.st_ino);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(std::to_string(inode), result.text);
}

TEST_F(IndexedWalkTest, ADamagedIndexGivesMinus1AndAMessage) {
    area_.add_dir("sub", 04755);
    area_.add_file("sub/._qxlnk_.", "no index");
    area_.add_file("sub/own");
    EXPECT_EQ("Error read dirindex 'sub/._qxlnk_.'\n", said(1, [&] { return walk("sub"); }));
    EXPECT_EQ(-1, result_);
    EXPECT_EQ("", said(0, [&] { return walk("sub"); }));
    EXPECT_THAT(visitor_.seen(), testing::Contains("sub/own 0x104 -"));
}

}  // namespace
