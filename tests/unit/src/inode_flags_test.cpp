// Inode attribute flags, on a file system that has them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "src/qxfsutil.h"
#include "tests/support/temp_dir.h"

namespace {

class InodeFlagsTest : public testing::Test {
protected:
    void SetUp() override {
        file_ = files_.write("file", "x");
        unsigned flags = 0;
        if (get_eattr(file_.c_str(), &flags) != 0 ||
            set_eattr(file_.c_str(), flags | FS_NODUMP_FL) != 0 ||
            set_eattr(file_.c_str(), flags) != 0) {
            GTEST_SKIP() << "the file system of " << files_.path() << " has no inode flags";
        }
        plain_flags_ = flags;
    }

    static unsigned flags_of(const std::string& path) {
        unsigned flags = 0;
        EXPECT_EQ(0, get_eattr(path.c_str(), &flags));
        return flags;
    }

    qx_test::TempDir files_;
    std::string file_;
    unsigned plain_flags_ = 0;
};

TEST_F(InodeFlagsTest, GetGivesThemAsTheFileSystemDoes) {
    const int fd = open(file_.c_str(), O_RDONLY);
    int flags = 0;
    ASSERT_EQ(0, ioctl(fd, FS_IOC_GETFLAGS, &flags));
    close(fd);
    EXPECT_EQ(static_cast<unsigned>(flags), flags_of(file_));
}

TEST_F(InodeFlagsTest, SetWritesThem) {
    EXPECT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(plain_flags_ | FS_NODUMP_FL, flags_of(file_));
}

TEST_F(InodeFlagsTest, BothFailOnAMissingFile) {
    unsigned flags = 0;
    EXPECT_EQ(-1, get_eattr(files_.path("missing").c_str(), &flags));
    EXPECT_EQ(-1, set_eattr(files_.path("missing").c_str(), 0));
}

TEST_F(InodeFlagsTest, APipeDoesNotBlock) {
    const std::string pipe = files_.path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    unsigned flags = 0;
    // A read end that waited would never come back; whether the pipe has flags is not the matter.
    EXPECT_LE(get_eattr(pipe.c_str(), &flags), 0);
}

TEST_F(InodeFlagsTest, SetDoesNotFollowALink) {
    const std::string link = files_.make_link("link", file_);
    EXPECT_EQ(-1, set_eattr(link.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(plain_flags_, flags_of(file_));
}

TEST_F(InodeFlagsTest, CheckCountsWhatAUserCanSet) {
    EXPECT_EQ(0, check_eattr(file_.c_str()));
    ASSERT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(1, check_eattr(file_.c_str()));
    EXPECT_EQ(-1, check_eattr(files_.path("missing").c_str()));
}

TEST_F(InodeFlagsTest, CopyCopiesThemBetweenFiles) {
    const std::string to = files_.write("to", "");
    ASSERT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL | FS_NOATIME_FL));
    EXPECT_EQ(0, copy_eattr(file_.c_str(), to.c_str()));
    EXPECT_EQ(plain_flags_ | FS_NODUMP_FL | FS_NOATIME_FL, flags_of(to));
}

TEST_F(InodeFlagsTest, CopyLeavesNoOtherFlagOfTheTarget) {
    const std::string to = files_.write("to", "");
    ASSERT_EQ(0, set_eattr(to.c_str(), plain_flags_ | FS_NOATIME_FL));
    ASSERT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(0, copy_eattr(file_.c_str(), to.c_str()));
    EXPECT_EQ(plain_flags_ | FS_NODUMP_FL, flags_of(to));
}

TEST_F(InodeFlagsTest, CopyWorksForDirectories) {
    const std::string from = files_.make_dir("from");
    const std::string to = files_.make_dir("to");
    const unsigned before = flags_of(to);
    ASSERT_EQ(0, set_eattr(from.c_str(), flags_of(from) | FS_NODUMP_FL));
    EXPECT_EQ(0, copy_eattr(from.c_str(), to.c_str()));
    EXPECT_EQ(before | FS_NODUMP_FL, flags_of(to));
}

TEST_F(InodeFlagsTest, CopyOfALinkTakesTheFlagsBehindIt) {
    const std::string link = files_.make_link("link", file_);
    const std::string to = files_.write("to", "");
    ASSERT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(0, copy_eattr(link.c_str(), to.c_str()));
    EXPECT_EQ(plain_flags_ | FS_NODUMP_FL, flags_of(to));
}

TEST_F(InodeFlagsTest, CopyOfNoFlagsLeavesTheTarget) {
    const std::string to = files_.write("to", "");
    ASSERT_EQ(0, set_eattr(to.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(0, copy_eattr(file_.c_str(), to.c_str()));
    EXPECT_EQ(plain_flags_ | FS_NODUMP_FL, flags_of(to));
    EXPECT_EQ(0, copy_eattr(file_.c_str(), files_.path("missing").c_str()));
}

TEST_F(InodeFlagsTest, CopyDoesNothingForOtherKinds) {
    const std::string pipe = files_.path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    EXPECT_EQ(0, copy_eattr(pipe.c_str(), files_.path("missing").c_str()));
}

TEST_F(InodeFlagsTest, CopyFailsWithoutSourceOrTarget) {
    EXPECT_EQ(-1, copy_eattr(files_.path("missing").c_str(), file_.c_str()));
    ASSERT_EQ(0, set_eattr(file_.c_str(), plain_flags_ | FS_NODUMP_FL));
    EXPECT_EQ(-1, copy_eattr(file_.c_str(), files_.path("missing").c_str()));
}

}  // namespace
