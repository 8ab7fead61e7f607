// Layout version of an area, its verification, and entries made by the file system's own request.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include "qxctl/qxctl.h"
#include "src/qxfsutil.h"
#include "tests/support/answered_calls.h"
#include "tests/support/capture.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr unsigned long kCreateRequest = 0x4004AA06;

// What the request carried, while a test stands in for the file system.
struct Request {
    std::string directory;
    std::string name;
    uint32_t value = 0;
    uint32_t mode = 0;
};
struct FileSystemShim {
    bool active = false;
    std::optional<Request> seen;
};
FileSystemShim shim;

void record_request(int fd, const void* argument) {
    const auto* bytes = static_cast<const unsigned char*>(argument);
    const char* name = nullptr;
    Request request;
    memcpy(&name, bytes, sizeof(name));
    memcpy(&request.value, bytes + sizeof(name), 4);
    memcpy(&request.mode, bytes + sizeof(name) + 4, 4);
    request.name = name;
    request.directory = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
    shim.seen = request;
}

}  // namespace

// In the place of the C library's: answers the container file system's request in tests.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (shim.active && request == kCreateRequest) {
        record_request(fd, argument);
        return 0;
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

namespace {

class LayoutTest : public testing::Test {
protected:
    int version(const std::string& text) {
        std::filesystem::remove(files_.path("area/VERSION"));
        files_.make_link("area/VERSION", text);
        return qxfs_version(files_.path("area").c_str());
    }

    qx_test::TempDir files_;
};

TEST_F(LayoutTest, LayoutIs4WhenTheVersionLinkStandsBelowFs) {
    files_.make_link("area/fs/VERSION", "005.004");
    EXPECT_EQ(4, qxctl_env_layout_version(files_.path("area").c_str()));
}

TEST_F(LayoutTest, LayoutIs3OtherwiseForADirectory) {
    files_.make_link("area/VERSION", "005.004");
    EXPECT_EQ(3, qxctl_env_layout_version(files_.path("area").c_str()));
    files_.make_dir("area/fs");
    EXPECT_EQ(3, qxctl_env_layout_version(files_.path("area").c_str()));
    files_.write("area/fs/VERSION", "005.004");
    EXPECT_EQ(3, qxctl_env_layout_version(files_.path("area").c_str()));
}

TEST_F(LayoutTest, LayoutIsNotReadThroughALinkAtFs) {
    files_.make_link("other/VERSION", "005.004");
    files_.make_link("area/fs", "../other");
    EXPECT_EQ(3, qxctl_env_layout_version(files_.path("area").c_str()));
}

TEST_F(LayoutTest, LayoutOfWhatIsNoDirectoryIsAnError) {
    EXPECT_EQ(-1, qxctl_env_layout_version(nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, qxctl_env_layout_version(files_.path("missing").c_str()));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, qxctl_env_layout_version(files_.write("file", "").c_str()));
    EXPECT_EQ(ENOTDIR, errno);
}

TEST_F(LayoutTest, VersionOfANullPathIsMinus1) {
    EXPECT_EQ(-1, qxfs_version(nullptr));
}

TEST_F(LayoutTest, VersionComesFromTheTextOfTheLink) {
    EXPECT_EQ(4, version("005.004"));
    EXPECT_EQ(3, version("005.003"));
    EXPECT_EQ(2, version("005.002"));
    EXPECT_EQ(2, version("004.999"));
    EXPECT_EQ(2, version("005.00"));
    EXPECT_EQ(2, version("!"));
    EXPECT_EQ(0, version("006.000"));
    EXPECT_EQ(0, version("005.005"));
    EXPECT_EQ(0, version("005.0030"));
    EXPECT_EQ(0, version("005.0040"));
    EXPECT_EQ(0, version("\xFF"));
}

TEST_F(LayoutTest, VersionIsReadBelowFsFromLayout4On) {
    files_.make_link("area/VERSION", "005.002");
    files_.make_link("area/fs/VERSION", "005.004");
    EXPECT_EQ(4, qxfs_version(files_.path("area").c_str()));
}

TEST_F(LayoutTest, VersionReadsAtMost100BytesOfTheLink) {
    // The first 100 bytes sort as the whole does; what counts is that a long text does no harm.
    EXPECT_EQ(0, version("005.004" + std::string(500, '0')));
    EXPECT_EQ(2, version("004" + std::string(500, '0')));
}

TEST_F(LayoutTest, VersionWithoutALinkIsMinus3WithAMessage) {
    const std::string area = files_.make_dir("area");
    qxfsutil_debug_level = 2;
    int result = 0;
    const std::string text = qx_test::captured([&] { result = qxfs_version(area.c_str()); }).err;
    qxfsutil_debug_level = 0;
    EXPECT_EQ(-3, result);
    EXPECT_EQ(
        "Error: Can't read qxfs version link '" + area + "/VERSION': No such file or directory\n",
        text);
}

// ---- check_template_area_qxfs3

TEST(VerifyAreaTest, RunsTheNodesToolAndGivesTheShellsStatus) {
    const qx_test::TempDir files;
    const std::string tool =
        files.write("qxpkg", "#!/bin/sh\necho \"$*\" > " + files.path("ran") + "\nexit 5\n");
    ASSERT_EQ(0, chmod(tool.c_str(), 0755));
    const auto result = qx_test::PrivateRoot().show(tool, "/usr/sbin/qxpkg").run([] {
        const int status = check_template_area_qxfs3(42);
        return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("5", result.text);
    EXPECT_EQ("verify area 42\n", qx_test::read_file(files.path("ran")));
}

TEST(VerifyAreaTest, ShowsTheCommandAtLevel4) {
    const auto shown_at = [](int level) {
        qxfsutil_debug_level = level;
        const std::string text = qx_test::captured([] { check_template_area_qxfs3(7); }).err;
        qxfsutil_debug_level = 0;
        return text.substr(0, text.find('\n') + 1);
    };
    EXPECT_EQ("executing '/usr/sbin/qxpkg verify area 7'\n", shown_at(4));
    EXPECT_EQ(std::string::npos, shown_at(3).find("executing"));
}

// ---- create_mfile, create_cowdir

class CreateRequestTest : public testing::Test {
protected:
    CreateRequestTest() { shim = {true, std::nullopt}; }
    ~CreateRequestTest() override { shim = {}; }
    qx_test::TempDir files_;
};

TEST_F(CreateRequestTest, MfileHandsOverNameValueAndTheModeOfARegularFile) {
    EXPECT_EQ(0, create_mfile(files_.path("name").c_str(), 0xDEADBEEF, 0171755));
    ASSERT_TRUE(shim.seen.has_value());
    EXPECT_EQ("name", shim.seen->name);
    EXPECT_EQ(files_.path(), shim.seen->directory);
    EXPECT_EQ(0xDEADBEEFU, shim.seen->value);
    EXPECT_EQ(0x8000U | 01755U, shim.seen->mode);
}

TEST_F(CreateRequestTest, CowdirHandsOverTheModeOfADirectory) {
    EXPECT_EQ(0, create_cowdir(files_.path("name").c_str(), 3, 0171755));
    ASSERT_TRUE(shim.seen.has_value());
    EXPECT_EQ(0x4000U | 01755U, shim.seen->mode);
    EXPECT_EQ(3U, shim.seen->value);
}

TEST_F(CreateRequestTest, APathWithoutSlashLiesInTheWorkingDirectory) {
    const qx_test::WorkingDirectory work(files_.path());
    EXPECT_EQ(0, create_mfile("name", 0, 0644));
    EXPECT_EQ(files_.path(), shim.seen->directory);
    EXPECT_EQ("name", shim.seen->name);
}

TEST_F(CreateRequestTest, APathBelowTheRootLiesInTheRoot) {
    EXPECT_EQ(0, create_cowdir("/name", 0, 0644));
    EXPECT_EQ("/", shim.seen->directory);
    EXPECT_EQ("name", shim.seen->name);
}

TEST_F(CreateRequestTest, NoParentDirectoryIsAFailure) {
    EXPECT_EQ(-1, create_mfile(files_.path("missing/name").c_str(), 0, 0644));
    files_.write("file", "");
    EXPECT_EQ(-1, create_cowdir(files_.path("file/name").c_str(), 0, 0644));
    EXPECT_FALSE(shim.seen.has_value());
}

TEST_F(CreateRequestTest, AParentThatCannotBeClosedIsAFailure) {
    const std::string path = files_.path("name");
    const auto result = qx_test::with_calls_answered({SYS_close}, EIO, [&] {
        return std::to_string(create_mfile(path.c_str(), 0, 0644)) + " " +
               std::to_string(create_cowdir(path.c_str(), 0, 0755));
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("-1 -1", result.text);
}

TEST_F(CreateRequestTest, AFileSystemWithoutTheRequestIsAFailure) {
    shim.active = false;
    const size_t before = qx_test::open_descriptors();
    EXPECT_EQ(-1, create_mfile(files_.path("name").c_str(), 0, 0644));
    EXPECT_EQ(-1, create_cowdir(files_.path("name").c_str(), 0, 0644));
    EXPECT_FALSE(std::filesystem::exists(files_.path("name")));
    EXPECT_EQ(before, qx_test::open_descriptors());
}

}  // namespace
