// set_attr, with and without the container kernel's calls for links, and compare_stat.
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>

#include "src/qxfsutil.h"
#include "tests/support/area.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr unsigned kLchmod = 516;
constexpr unsigned kLutime = 517;

// Has the kernel answer one system call with an error number (0: with success, doing nothing).
bool answer_call(unsigned number, unsigned error_number) {
    const sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error_number),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {4, const_cast<sock_filter*>(program)};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// The exit status of an action in a child, whose changes to the process stay there.
int in_child(const std::function<int()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(action());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr int kNoFilter = 77;

class AttributesTest : public testing::Test {
protected:
    AttributesTest() {
        file_ = files_.write("file", "x");
        link_ = files_.make_link("link", "file");
        wanted_.st_uid = geteuid();
        wanted_.st_gid = getegid();
        wanted_.st_mode = S_IFREG | 0640;
        wanted_.st_atim.tv_sec = 1000000001;
        wanted_.st_mtim.tv_sec = 1000000002;
    }
    struct stat wanted_link() const {
        struct stat st = wanted_;
        st.st_mode = S_IFLNK | 0777;
        return st;
    }

    qx_test::TempDir files_;
    std::string file_;
    std::string link_;
    struct stat wanted_ {};
};

TEST_F(AttributesTest, SetsPermissionBitsAndTimesOfAFile) {
    EXPECT_EQ(0, set_attr(file_.c_str(), &wanted_));
    const struct stat st = qx_test::lstat_of(file_);
    EXPECT_EQ(wanted_.st_mode, st.st_mode);
    EXPECT_EQ(1000000001, st.st_atime);
    EXPECT_EQ(1000000002, st.st_mtime);
}

TEST_F(AttributesTest, SetsOwnerAndGroupWithoutFollowing) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may give files away";
    }
    struct stat st = wanted_link();
    st.st_uid = 1234;
    st.st_gid = 4321;
    EXPECT_EQ(0, set_attr(link_.c_str(), &st));
    EXPECT_EQ(1234U, qx_test::lstat_of(link_).st_uid);
    EXPECT_EQ(4321U, qx_test::lstat_of(link_).st_gid);
    EXPECT_EQ(0U, qx_test::lstat_of(file_).st_uid);
}

TEST_F(AttributesTest, NothingIsSetThroughALinkThatStandsForAFile) {
    const struct stat before = qx_test::lstat_of(file_);
    EXPECT_EQ(-1, set_attr(link_.c_str(), &wanted_));
    const struct stat after = qx_test::lstat_of(file_);
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_mtime, after.st_mtime);
}

TEST_F(AttributesTest, FailsForAMissingFile) {
    EXPECT_EQ(-1, set_attr(files_.path("missing").c_str(), &wanted_));
}

TEST_F(AttributesTest, OnAKernelWithoutTheLinkCallsTheTimesAreSetAllTheSame) {
    const struct stat st = wanted_link();
    EXPECT_EQ(0, set_attr(link_.c_str(), &st));
    EXPECT_EQ(1000000001, qx_test::lstat_of(link_).st_atime);
    EXPECT_EQ(1000000002, qx_test::lstat_of(link_).st_mtime);
    EXPECT_NE(1000000002, qx_test::lstat_of(file_).st_mtime);
}

TEST_F(AttributesTest, TheTimesOfALinkAreSetByTheKernelsOwnCallWhereItIsThere) {
    const struct stat st = wanted_link();
    const int status = in_child([&] {
        if (!answer_call(kLutime, 0)) {
            return kNoFilter;
        }
        return set_attr(link_.c_str(), &st) == 0 ? 0 : 1;
    });
    if (status == kNoFilter) {
        GTEST_SKIP() << "no system call filters here";
    }
    EXPECT_EQ(0, status);
    // The call was answered, but did nothing.
    EXPECT_NE(1000000002, qx_test::lstat_of(link_).st_mtime);
}

TEST_F(AttributesTest, ALinkCallThatFailsIsAFailure) {
    const struct stat st = wanted_link();
    for (const unsigned call : {kLchmod, kLutime}) {
        const int status = in_child([&] {
            if (!answer_call(call, EPERM)) {
                return kNoFilter;
            }
            return set_attr(link_.c_str(), &st) == -1 ? 0 : 1;
        });
        if (status == kNoFilter) {
            GTEST_SKIP() << "no system call filters here";
        }
        EXPECT_EQ(0, status) << call;
    }
}

TEST_F(AttributesTest, TheLinkCallsAreNotMadeForFiles) {
    const int status = in_child([&] {
        if (!answer_call(kLchmod, EPERM) || !answer_call(kLutime, EPERM)) {
            return kNoFilter;
        }
        return set_attr(file_.c_str(), &wanted_) == 0 ? 0 : 1;
    });
    if (status == kNoFilter) {
        GTEST_SKIP() << "no system call filters here";
    }
    EXPECT_EQ(0, status);
}

// ---- compare_stat

struct stat stat_with(uid_t uid, gid_t gid, mode_t mode) {
    struct stat st {};
    st.st_uid = uid;
    st.st_gid = gid;
    st.st_mode = mode;
    return st;
}

int compare(const struct stat& a, const struct stat& b) {
    return compare_stat(&a, &b);
}

TEST(CompareStatTest, EqualOwnerGroupAndBitsGive0) {
    EXPECT_EQ(0, compare(stat_with(1, 2, 0644), stat_with(1, 2, 0644)));
}

TEST(CompareStatTest, AnotherOwnerGroupOrBitGives1) {
    const struct stat st = stat_with(1, 2, 0644);
    EXPECT_EQ(1, compare(st, stat_with(3, 2, 0644)));
    EXPECT_EQ(1, compare(st, stat_with(1, 3, 0644)));
    EXPECT_EQ(1, compare(st, stat_with(1, 2, 0645)));
    EXPECT_EQ(1, compare(st, stat_with(1, 2, 04644)));
    EXPECT_EQ(1, compare(st, stat_with(1, 2, 02644)));
}

TEST(CompareStatTest, TheStickyBitDoesNotCountNorDoesTheType) {
    EXPECT_EQ(0, compare(stat_with(1, 2, S_IFREG | 01644), stat_with(1, 2, S_IFLNK | 0644)));
    EXPECT_EQ(0, compare(stat_with(1, 2, 0644), stat_with(1, 2, 01644)));
}

}  // namespace
