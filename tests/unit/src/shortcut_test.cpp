// Shortcut files: made in place, made beside and renamed, read back.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
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
using qx_test::read_file;

constexpr const char* kText = "////os/lib/x";
constexpr size_t kLength = 12;

struct stat wanted_stat() {
    struct stat st {};
    st.st_mode = S_IFREG | 01640;
    st.st_uid = geteuid();
    st.st_gid = getegid();
    st.st_atim = {1000000001, 123};
    st.st_mtim = {1000000002, 456};
    return st;
}

// Runs with a limit on file sizes that no write keeps.
int with_full_disk(const std::function<int()>& action) {
    struct rlimit before {};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {0, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    const int result = action();
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    return result;
}

class ShortcutTest : public testing::Test {
protected:
    ShortcutTest() : work_(files_.path()) {
        snprintf(current_path, sizeof(current_path), "/here");
        qxfsutil_debug_level = 2;
    }
    ~ShortcutTest() override { qxfsutil_debug_level = 0; }

    std::string error_of(const std::function<int()>& action) {
        int result = 0;
        std::string text = captured([&] { result = action(); }).err;
        EXPECT_EQ(1, result);
        return text;
    }
    size_t entry_count() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(files_.path()), {}));
    }

    qx_test::TempDir files_;
    qx_test::WorkingDirectory work_;
    struct stat st_ = wanted_stat();
};

void expect_attributes(const std::string& path, const struct stat& wanted) {
    const struct stat st = qx_test::lstat_of(path);
    EXPECT_EQ(wanted.st_mode, st.st_mode);
    EXPECT_EQ(wanted.st_uid, st.st_uid);
    EXPECT_EQ(wanted.st_gid, st.st_gid);
    EXPECT_EQ(wanted.st_atim.tv_sec, st.st_atim.tv_sec);
    EXPECT_EQ(wanted.st_mtim.tv_sec, st.st_mtim.tv_sec);
}

TEST_F(ShortcutTest, CreateWritesTextAndAttributes) {
    EXPECT_EQ(0, create_shortcut("s", kText, kLength, &st_));
    expect_attributes("s", st_);
    EXPECT_EQ(kText, read_file("s"));
}

TEST_F(ShortcutTest, CreateKeepsSetIdBits) {
    st_.st_mode = S_IFREG | 07755;
    EXPECT_EQ(0, create_shortcut("s", kText, kLength, &st_));
    expect_attributes("s", st_);
}

TEST_F(ShortcutTest, CreateWritesOnlyTheGivenLength) {
    EXPECT_EQ(0, create_shortcut("s", kText, 6, &st_));
    EXPECT_EQ("////os", read_file("s"));
}

TEST_F(ShortcutTest, CreateReplacesTheContentOfAFile) {
    files_.write("s", std::string(100, 'x'));
    EXPECT_EQ(0, create_shortcut("s", kText, kLength, &st_));
    EXPECT_EQ(kText, read_file("s"));
}

TEST_F(ShortcutTest, CreateNamesWorkingDirectoryAndPathWhenItCannotOpen) {
    EXPECT_EQ("Error: Can't create shortcut '/here/none/s': No such file or directory\n",
              error_of([&] { return create_shortcut("none/s", kText, kLength, &st_); }));
}

TEST_F(ShortcutTest, CreateRefusesASymbolicLink) {
    files_.write("victim", "mine");
    files_.make_link("s", "victim");
    EXPECT_EQ("Error: Can't create shortcut '/here/s': Too many levels of symbolic links\n",
              error_of([&] { return create_shortcut("s", kText, kLength, &st_); }));
    EXPECT_EQ("mine", read_file("victim"));
}

TEST_F(ShortcutTest, CreateReportsAFailingWrite) {
    const std::string text = error_of(
        [&] { return with_full_disk([&] { return create_shortcut("s", kText, kLength, &st_); }); });
    // Standard error is a file here, and under the same limit: only the result tells.
    EXPECT_EQ("", text);
    EXPECT_EQ("", read_file("s"));
}

TEST_F(ShortcutTest, CreateNamesTheFullDevice) {
    EXPECT_EQ("Error: Can't write shortcut '/here//dev/full': No space left on device\n",
              error_of([&] { return create_shortcut("/dev/full", kText, kLength, &st_); }));
}

TEST_F(ShortcutTest, AFailingChangeOfOwnerIsReported) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take another user's identity";
    }
    ASSERT_EQ(0, chmod(".", 0777));
    const auto result = qx_test::PrivateRoot().run([&]() -> std::string {
        if (seteuid(65534) != 0) {
            return "cannot become nobody";
        }
        return error_of([&] { return create_shortcut("s", kText, kLength, &st_); }) +
               error_of([&] { return make_shortcut("m", kText, kLength, &st_); });
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(
        "Error: Error chown '/here/s': Operation not permitted\n"
        "Error: Error chown 'm': Operation not permitted\n",
        result.text);
    EXPECT_EQ(kText, read_file("m"));
}

TEST_F(ShortcutTest, AFailingChangeOfBitsIsReported) {
    const auto result = qx_test::with_calls_answered({SYS_fchmod}, EPERM, [&] {
        return error_of([&] { return create_shortcut("s", kText, kLength, &st_); }) +
               error_of([&] { return make_shortcut("m", kText, kLength, &st_); });
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(
        "Error: Error chmod '/here/s': Operation not permitted\n"
        "Error: Error chmod 'm': Operation not permitted\n",
        result.text);
    EXPECT_EQ(kText, read_file("m"));
}

TEST_F(ShortcutTest, OwnerAndGroupAreSet) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may give files away";
    }
    st_.st_uid = 1234;
    st_.st_gid = 4321;
    EXPECT_EQ(0, create_shortcut("s", kText, kLength, &st_));
    expect_attributes("s", st_);
    EXPECT_EQ(0, make_shortcut("m", kText, kLength, &st_));
    expect_attributes("m", st_);
}

TEST_F(ShortcutTest, TimesThatCannotBeAreReported) {
    st_.st_mtim.tv_nsec = 5000000000;
    EXPECT_EQ("Error: Error utime '/here/s': Invalid argument\n",
              error_of([&] { return create_shortcut("s", kText, kLength, &st_); }));
    EXPECT_EQ("Error: Error utime 'm': Invalid argument\n",
              error_of([&] { return make_shortcut("m", kText, kLength, &st_); }));
}

TEST_F(ShortcutTest, MakeWritesTextAndAttributes) {
    EXPECT_EQ(0, make_shortcut("s", kText, kLength, &st_));
    expect_attributes("s", st_);
    EXPECT_EQ(kText, read_file("s"));
    EXPECT_EQ(1U, entry_count());
}

TEST_F(ShortcutTest, MakeReplacesWhatStandsThereByRename) {
    files_.write("victim", "mine");
    files_.make_link("s", "victim");
    EXPECT_EQ(0, make_shortcut("s", kText, kLength, &st_));
    EXPECT_EQ(kText, read_file("s"));
    EXPECT_EQ("mine", read_file("victim"));
}

TEST_F(ShortcutTest, MakeNamesThePathWhenItCannotCreate) {
    EXPECT_EQ("Error: Can't create shortcut 'none/s': No such file or directory\n",
              error_of([&] { return make_shortcut("none/s", kText, kLength, &st_); }));
}

TEST_F(ShortcutTest, MakeNamesBothPathsWhenItCannotRenameAndRemovesItsTemporary) {
    files_.make_dir("s");
    const std::string text = error_of([&] { return make_shortcut("s", kText, kLength, &st_); });
    EXPECT_EQ(0U, text.find("Error: Can't rename 's-"));
    EXPECT_NE(std::string::npos, text.find("' to 's': Is a directory\n"));
    EXPECT_EQ(1U, entry_count());
}

TEST_F(ShortcutTest, MakeReplacesNothingBeforeTheTextIsOnTheDevice) {
    files_.write("s", "old");
    const auto result = qx_test::with_calls_answered({SYS_fsync}, EIO, [&] {
        return error_of([&] { return make_shortcut("s", kText, kLength, &st_); });
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: Can't write shortcut 's': Input/output error\n", result.text);
    EXPECT_EQ("old", read_file("s"));
    EXPECT_EQ(1U, entry_count());
}

TEST_F(ShortcutTest, ATextThatIsLostOnClosingIsReported) {
    const auto result = qx_test::with_calls_answered({SYS_close}, EIO, [&] {
        return error_of([&] { return create_shortcut("s", kText, kLength, &st_); }) +
               error_of([&] { return make_shortcut("m", kText, kLength, &st_); });
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(
        "Error: Can't write shortcut '/here/s': Input/output error\n"
        "Error: Can't write shortcut 'm': Input/output error\n",
        result.text);
    EXPECT_EQ(1U, entry_count());
}

TEST_F(ShortcutTest, MakeLeavesTheOldEntryAndNoTemporaryWhenTheDiskIsFull) {
    files_.write("s", "old");
    EXPECT_EQ(1, with_full_disk([&] { return make_shortcut("s", kText, kLength, &st_); }));
    EXPECT_EQ("old", read_file("s"));
    EXPECT_EQ(1U, entry_count());
}

TEST_F(ShortcutTest, ReadGivesLengthAndTerminatedText) {
    files_.write("s", kText);
    char buffer[64];
    memset(buffer, '?', sizeof(buffer));
    EXPECT_EQ(static_cast<int>(kLength), read_shortcut("s", buffer, sizeof(buffer)));
    EXPECT_STREQ(kText, buffer);
}

TEST_F(ShortcutTest, ReadFillsABufferOfTheVerySizeWithoutTerminator) {
    files_.write("s", kText);
    char buffer[kLength + 1];
    buffer[kLength] = '?';
    EXPECT_EQ(static_cast<int>(kLength), read_shortcut("s", buffer, kLength));
    EXPECT_EQ('?', buffer[kLength]);
}

TEST_F(ShortcutTest, ReadReadsAtMost4096Bytes) {
    files_.write("s", std::string(5000, 'x'));
    std::string buffer(6000, '?');
    EXPECT_EQ(4096, read_shortcut("s", buffer.data(), buffer.size()));
}

TEST_F(ShortcutTest, ReadTellsItsFailuresApart) {
    char buffer[64];
    EXPECT_EQ(-1, read_shortcut("missing", buffer, sizeof(buffer)));
    EXPECT_EQ(-2, read_shortcut(".", buffer, sizeof(buffer)));
    files_.write("s", kText);
    EXPECT_EQ(-3, read_shortcut("s", buffer, kLength - 1));
}

}  // namespace
