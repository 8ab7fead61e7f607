// Whole files and directories: remove_dir, mkdir_p, copy_reg_file, compare_files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "src/qxfsutil.h"
#include "tests/support/answered_calls.h"
#include "tests/support/area.h"
#include "tests/support/capture.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using qx_test::captured;
using qx_test::Output;
using qx_test::read_file;
using testing::HasSubstr;

class FilesTest : public testing::Test {
protected:
    int remove(const std::string& path) {
        int result = 1;
        output_ = captured([&] { result = remove_dir(path.c_str()); });
        return result;
    }

    qx_test::TempDir files_;
    Output output_;
};

// ---- remove_dir

TEST_F(FilesTest, RemoveDirRemovesATree) {
    files_.write("tree/a/b/file", "x");
    files_.make_link("tree/a/link", "nowhere");
    mkfifo(files_.path("tree/pipe").c_str(), 0600);
    EXPECT_EQ(0, remove(files_.path("tree")));
    EXPECT_FALSE(fs::exists(files_.path("tree")));
    EXPECT_EQ("", output_.err);
}

TEST_F(FilesTest, RemoveDirDoesNotFollowLinksInTheTree) {
    files_.write("outside/file", "x");
    files_.make_link("tree/link", files_.path("outside"));
    EXPECT_EQ(0, remove(files_.path("tree")));
    EXPECT_TRUE(fs::exists(files_.path("outside/file")));
}

TEST_F(FilesTest, RemoveDirDoesNotFollowTheGivenPath) {
    files_.write("outside/file", "x");
    files_.make_link("link", files_.path("outside"));
    EXPECT_EQ(-1, remove(files_.path("link")));
    EXPECT_EQ(-1, remove(files_.path("link") + "/"));
    EXPECT_TRUE(fs::exists(files_.path("outside/file")));
}

TEST_F(FilesTest, RemoveDirOfAMissingDirectoryReportsBothAttempts) {
    const std::string path = files_.path("missing");
    EXPECT_EQ(-1, remove(path));
    EXPECT_EQ("opendir(\"" + path + "\") error: No such file or directory" + "rmdir(\"" + path +
                  "\") error: No such file or directory",
              output_.err);
}

TEST_F(FilesTest, RemoveDirNamesThePathAsItWasGiven) {
    const std::string path = files_.path("missing") + "/";
    EXPECT_EQ(-1, remove(path));
    EXPECT_EQ("opendir(\"" + path + "\") error: No such file or directory" + "rmdir(\"" + path +
                  "\") error: No such file or directory",
              output_.err);
}

TEST_F(FilesTest, RemoveDirTakesALongWayDown) {
    std::string path = "tree";
    for (int i = 0; i < 200; ++i) {
        path += "/d";
    }
    files_.make_dir(path);
    EXPECT_EQ(0, remove(files_.path("tree")));
    EXPECT_FALSE(fs::exists(files_.path("tree")));
}

TEST_F(FilesTest, RemoveDirStopsAtAFileThatStaysAndStillTriesTheDirectory) {
    // A directory of a file system that lets nobody remove anything.
    EXPECT_EQ(-1, remove("/proc/self/fdinfo"));
    EXPECT_EQ(
        "unlink(\"/proc/self/fdinfo/0\") error: Operation not permitted"
        "rmdir(\"/proc/self/fdinfo\") error: Operation not permitted",
        output_.err);
}

TEST_F(FilesTest, RemoveDirTriesTheDirectoryEvenWhenItsContentCannotBeRead) {
    const std::string path = files_.make_dir("tree");
    const auto result = qx_test::with_calls_answered({SYS_getdents64}, EIO, [&] {
        const int removed = remove(path);
        return output_.err + " " + std::to_string(removed);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("readdir(\"" + path + "\") error: Input/output error -1", result.text);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FilesTest, RemoveDirReportsWhatCannotBeExamined) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take another user's identity";
    }
    const std::string path = files_.make_dir("tree");
    files_.write("tree/file", "x");
    ASSERT_EQ(0, chmod(path.c_str(), 0744));
    ASSERT_EQ(0, chmod(files_.path().c_str(), 0777));
    const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
        if (seteuid(65534) != 0) {
            return "cannot become nobody";
        }
        const int removed = remove(path);
        return output_.err + " " + std::to_string(removed);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("lstat(\"" + path + "/file\") error: Permission denied" + "rmdir(\"" + path +
                  "\") error: Directory not empty -1",
              result.text);
}

// ---- mkdir_p

TEST_F(FilesTest, MkdirPMakesAllButTheLastComponent) {
    const std::string path = files_.path("a/b/c");
    EXPECT_EQ(0, mkdir_p(path.c_str(), 0755, 0));
    EXPECT_TRUE(fs::is_directory(files_.path("a/b")));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(FilesTest, MkdirPGivesTheMode) {
    const mode_t mask = umask(0);
    EXPECT_EQ(0, mkdir_p(files_.path("a/b").c_str(), 0751, 0));
    umask(mask);
    EXPECT_EQ(0751U, qx_test::lstat_of(files_.path("a")).st_mode & 07777);
}

TEST_F(FilesTest, MkdirPAcceptsWhatIsThere) {
    files_.make_dir("a/b");
    EXPECT_EQ(0, mkdir_p(files_.path("a/b/c").c_str(), 0755, 0));
}

TEST_F(FilesTest, MkdirPLooksOnlyBehindTheSkippedCharacters) {
    const std::string start = files_.path("missing");
    const std::string path = start + "/a/b";
    EXPECT_EQ(-1, mkdir_p(path.c_str(), 0755, static_cast<int>(start.size()) + 1));
    EXPECT_FALSE(fs::exists(start));
    EXPECT_EQ(0, mkdir_p(path.c_str(), 0755, static_cast<int>(start.size())));
    EXPECT_TRUE(fs::is_directory(start + "/a"));
}

TEST_F(FilesTest, MkdirPFailsBelowAFile) {
    files_.write("file", "x");
    EXPECT_EQ(-1, mkdir_p(files_.path("file/a/b").c_str(), 0755, 0));
}

TEST_F(FilesTest, MkdirPWithTooLargeASkipDoesNothing) {
    EXPECT_EQ(0, mkdir_p("/missing/a", 0755, 1000));
    EXPECT_FALSE(fs::exists("/missing"));
}

// ---- copy_reg_file

TEST_F(FilesTest, CopyCopiesByteForByte) {
    for (const size_t size : {0U, 1U, 1023U, 1024U, 1025U, 5000U}) {
        const std::string content(size, '\xA7');
        const std::string source = files_.write("source", content);
        EXPECT_EQ(0, copy_reg_file(source.c_str(), files_.path("target").c_str()));
        EXPECT_EQ(content, read_file(files_.path("target")));
    }
}

TEST_F(FilesTest, CopyDoesNotTellAMissingSourceFromAnEmptyOne) {
    EXPECT_EQ(0, copy_reg_file(files_.path("missing").c_str(), files_.path("target").c_str()));
    EXPECT_EQ("", read_file(files_.path("target")));
}

TEST_F(FilesTest, CopyDoesNotTellATargetThatCannotBeOpened) {
    const std::string source = files_.write("source", "x");
    EXPECT_EQ(0, copy_reg_file(source.c_str(), files_.path("none/target").c_str()));
}

TEST_F(FilesTest, CopyDoesNotWriteThroughALinkAtTheTarget) {
    const std::string source = files_.write("source", "x");
    const std::string victim = files_.write("victim", "mine");
    const std::string link = files_.make_link("target", victim);
    copy_reg_file(source.c_str(), link.c_str());
    EXPECT_EQ("mine", read_file(victim));
}

TEST_F(FilesTest, CopyReportsAFailingReadOrWrite) {
    const std::string source = files_.write("source", "x");
    EXPECT_EQ(-1, copy_reg_file(files_.path().c_str(), files_.path("target").c_str()));
    EXPECT_EQ(-2, copy_reg_file(source.c_str(), "/dev/full"));
}

TEST_F(FilesTest, CopyTakesDescriptor0AsAFailureToOpen) {
    const std::string source = files_.write("source", "x");
    const int saved = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const int as_source = copy_reg_file(source.c_str(), files_.path("target").c_str());
    const int as_target = copy_reg_file(files_.path("missing").c_str(), source.c_str());
    dup2(saved, STDIN_FILENO);
    close(saved);
    EXPECT_EQ(-1, as_source);
    EXPECT_EQ(-2, as_target);
}

// ---- compare_files

TEST_F(FilesTest, CompareGives0ForEqualContent) {
    for (const size_t size : {0U, 1U, 1024U, 1025U, 3000U}) {
        const std::string a = files_.write("a", std::string(size, 'x'));
        const std::string b = files_.write("b", std::string(size, 'x'));
        EXPECT_EQ(0, compare_files(a.c_str(), b.c_str()));
    }
}

TEST_F(FilesTest, CompareGives1ForAnotherByteOrLength) {
    const std::string a = files_.write("a", std::string(2000, 'x'));
    std::string other(2000, 'x');
    other.back() = 'y';
    EXPECT_EQ(1, compare_files(a.c_str(), files_.write("b", other).c_str()));
    EXPECT_EQ(1, compare_files(a.c_str(), files_.write("c", std::string(1024, 'x')).c_str()));
    EXPECT_EQ(1, compare_files(files_.write("d", "").c_str(), a.c_str()));
}

TEST_F(FilesTest, CompareGivesMinus1WhenOneCannotBeOpenedOrRead) {
    const std::string a = files_.write("a", "x");
    const std::string missing = files_.path("missing");
    EXPECT_EQ(-1, compare_files(a.c_str(), missing.c_str()));
    EXPECT_EQ(-1, compare_files(missing.c_str(), a.c_str()));
    EXPECT_EQ(-1, compare_files(a.c_str(), files_.path().c_str()));
    EXPECT_EQ(-1, compare_files(files_.path().c_str(), a.c_str()));
}

TEST_F(FilesTest, CompareOfNullEndsWithStatus255) {
    const char* text =
        "ASSERTION FAILED: src/common\\([0-9]+\\), function 'compare_files\\(\\)', condition: "
        "name1 && name2";
    EXPECT_EXIT(compare_files(nullptr, "b"), testing::ExitedWithCode(255), text);
    EXPECT_EXIT(compare_files("a", nullptr), testing::ExitedWithCode(255), text);
}

}  // namespace
