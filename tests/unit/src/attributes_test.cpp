// set_attr, with and without the container kernel's calls for links, and compare_stat.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdarg>
#include <initializer_list>
#include <string>
#include <vector>

#include "src/qxfsutil.h"
#include "tests/support/answered_calls.h"
#include "tests/support/area.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr long kLchmod = 516;
constexpr long kLutime = 517;

// The two calls as a kernel that has them sees them, while a test stands in for it.
struct KernelShim {
    bool active = false;
    std::vector<std::string> calls;
};
KernelShim shim;

long record_call(long number, const char* path, unsigned long argument) {
    std::string text = std::to_string(number) + " " + path;
    if (number == kLchmod) {
        text += " " + std::to_string(argument);
    } else {
        const auto* times = reinterpret_cast<const struct utimbuf*>(argument);
        text += " " + std::to_string(times->actime) + " " + std::to_string(times->modtime);
    }
    shim.calls.push_back(text);
    return 0;
}

}  // namespace

// In the place of the C library's: answers the container kernel's calls in tests.
extern "C" long syscall(long number, ...) noexcept {
    constexpr int kMostArguments = 6;
    unsigned long a[kMostArguments];
    va_list arguments;
    va_start(arguments, number);
    for (unsigned long& argument : a) {
        argument = va_arg(arguments, unsigned long);
    }
    va_end(arguments);
    if (shim.active && (number == kLchmod || number == kLutime)) {
        return record_call(number, reinterpret_cast<const char*>(a[0]), a[1]);
    }
    static const auto original = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    return original(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

namespace {

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

    // What set_attr gives while the kernel answers these calls itself.
    static qx_test::Answered set_while_answered(std::initializer_list<long> calls, int error_number,
                                                const std::string& path, const struct stat& st) {
        return qx_test::with_calls_answered(
            calls, error_number, [&] { return std::to_string(set_attr(path.c_str(), &st)); });
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

TEST_F(AttributesTest, SetsTheSetIdAndStickyBitsToo) {
    wanted_.st_mode = S_IFREG | 07750;
    EXPECT_EQ(0, set_attr(file_.c_str(), &wanted_));
    EXPECT_EQ(wanted_.st_mode, qx_test::lstat_of(file_).st_mode);
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
    const auto result = set_while_answered({kLutime}, 0, link_, st);
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("0", result.text);
    // The call was answered, but did nothing.
    EXPECT_NE(1000000002, qx_test::lstat_of(link_).st_mtime);
}

TEST_F(AttributesTest, TheLinkCallsAreToldPermissionBitsAndBothTimes) {
    const struct stat st = wanted_link();
    shim = {true, {}};
    const int result = set_attr(link_.c_str(), &st);
    const std::vector<std::string> calls = shim.calls;
    shim = {};
    EXPECT_EQ(0, result);
    const std::vector<std::string> expected = {"516 " + link_ + " " + std::to_string(0777),
                                               "517 " + link_ + " 1000000001 1000000002"};
    EXPECT_EQ(expected, calls);
}

TEST_F(AttributesTest, ALinkCallThatFailsIsAFailure) {
    const struct stat st = wanted_link();
    for (const long call : {kLchmod, kLutime}) {
        const auto result = set_while_answered({call}, EPERM, link_, st);
        if (!result.ran) {
            GTEST_SKIP() << result.text;
        }
        EXPECT_EQ("-1", result.text) << call;
    }
}

TEST_F(AttributesTest, TheLinkCallsAreNotMadeForFiles) {
    const auto result = set_while_answered({kLchmod, kLutime}, EPERM, file_, wanted_);
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("0", result.text);
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
