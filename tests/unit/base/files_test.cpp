// Durable writes, and opening below a root whose owner planted links.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>

#include "base/content.h"
#include "base/durable.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"

namespace {

using base::Fd;
using qx_test::read_file;
using qx_test::TempDir;

std::size_t entriesIn(const std::string& path) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
}

TEST(ReadFileTest, RefusesMoreThanTheLimit) {
    const TempDir dir;
    const std::string path = dir.write("f", "12345");
    std::string error;
    EXPECT_EQ(base::readFile(path, 5, error), "12345");
    EXPECT_EQ(base::readFile(path, 4, error), std::nullopt);
    EXPECT_EQ(error, "cannot read '" + path + "': longer than 4 bytes");
}

TEST(ReadFileTest, RefusesWhatIsNoRegularFileWithoutWaiting) {
    const TempDir dir;
    const std::string fifo = dir.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string error;
    EXPECT_EQ(base::readFile(fifo, 10, error), std::nullopt);
    EXPECT_EQ(error, "cannot read '" + fifo + "': not a regular file");
    EXPECT_EQ(base::readFile(dir.path(), 10, error), std::nullopt);
}

TEST(ReplaceFileTest, MakesANewFileWithTheModeAskedFor) {
    const TempDir dir;
    std::string error;
    ASSERT_TRUE(base::replaceFile(dir.path("f"), "new", error, 0600)) << error;
    struct stat st {};
    ASSERT_EQ(stat(dir.path("f").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600U);
    EXPECT_EQ(read_file(dir.path("f")), "new");
    EXPECT_EQ(entriesIn(dir.path()), 1U);
}

TEST(ReplaceFileTest, LeavesTheFileThatReadersHaveOpenAlone) {
    const TempDir dir;
    const std::string path = dir.write("f", "old");
    const Fd reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string error;
    ASSERT_TRUE(base::replaceFile(path, "new", error));
    char text[4] = {};
    ASSERT_EQ(read(reader.get(), text, 3), 3);
    EXPECT_STREQ(text, "old");
}

TEST(ReplaceFileTest, ReplacesALinkAndNotItsTarget) {
    const TempDir dir;
    const std::string target = dir.write("target", "precious");
    const std::string link = dir.make_link("link", target);
    std::string error;
    ASSERT_TRUE(base::replaceFile(link, "new", error));
    EXPECT_EQ(read_file(target), "precious");
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(link)));
}

TEST(ReplaceFileTest, LeavesNothingBesideWhenItFails) {
    const TempDir dir;
    dir.make_dir("f/full");
    std::string error;
    EXPECT_FALSE(base::replaceFile(dir.path("f"), "new", error));
    EXPECT_NE(error.find("cannot write '" + dir.path("f") + "': "), std::string::npos) << error;
    EXPECT_EQ(entriesIn(dir.path()), 1U);
}

TEST(ReplaceFileTest, NamesAFolderThatIsNotThere) {
    std::string error;
    EXPECT_FALSE(base::replaceFile("/nowhere/f", "new", error));
    EXPECT_EQ(error, "cannot write '/nowhere/f': No such file or directory");
}

TEST(SwapPathsTest, ExchangesTwoTrees) {
    const TempDir dir;
    dir.write("a/f", "was a");
    dir.write("b/f", "was b");
    std::string error;
    ASSERT_TRUE(base::swapPaths(dir.path("a"), dir.path("b"), error)) << error;
    EXPECT_EQ(read_file(dir.path("a/f")), "was b");
    EXPECT_EQ(read_file(dir.path("b/f")), "was a");
}

TEST(SwapPathsTest, ChangesNothingWhenOneIsMissing) {
    const TempDir dir;
    dir.write("a/f", "was a");
    std::string error;
    EXPECT_FALSE(base::swapPaths(dir.path("a"), dir.path("b"), error));
    EXPECT_EQ(read_file(dir.path("a/f")), "was a");
}

TEST(RenameNewTest, NeverReplacesWhatIsThere) {
    const TempDir dir;
    dir.write("a", "a");
    dir.write("b", "b");
    std::string error;
    EXPECT_FALSE(base::renameNew(dir.path("a"), dir.path("b"), error));
    EXPECT_EQ(read_file(dir.path("b")), "b");
    EXPECT_TRUE(base::renameNew(dir.path("a"), dir.path("c"), error)) << error;
    EXPECT_EQ(read_file(dir.path("c")), "a");
}

class ConfinedTest : public testing::Test {
protected:
    TempDir dir;
    std::string outside = dir.write("outside/secret", "secret");
    std::string inside = dir.write("root/etc/passwd", "inside");
    Fd root{open(dir.path("root").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(ConfinedTest, KeepsAbsoluteLinksWithinTheRoot) {
    dir.make_link("root/link", "/etc/passwd");
    EXPECT_EQ(base::readFileInRoot(root.get(), "link", 100), "inside");
}

TEST_F(ConfinedTest, StopsDotDotAtTheRoot) {
    dir.make_link("root/link", "../../../../etc/passwd");
    EXPECT_EQ(base::readFileInRoot(root.get(), "link", 100), "inside");
    EXPECT_EQ(base::readFileInRoot(root.get(), "../outside/secret", 100), std::nullopt);
}

TEST_F(ConfinedTest, NeverReachesWhatALinkNamesOutside) {
    dir.make_link("root/link", outside);
    EXPECT_EQ(base::readFileInRoot(root.get(), "link", 100), std::nullopt);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ConfinedTest, TellsTooLongAndWrongKindApart) {
    EXPECT_EQ(base::readFileInRoot(root.get(), "etc/passwd", 5), std::nullopt);
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(base::readFileInRoot(root.get(), "etc", 5), std::nullopt);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(ConfinedTest, OpensNoPathWithALinkWhenNoneIsAllowed) {
    dir.make_link("root/link", "etc");
    EXPECT_TRUE(base::openBelow(root.get(), "etc/passwd", O_RDONLY));
    EXPECT_FALSE(base::openBelow(root.get(), "link/passwd", O_RDONLY));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(base::openBelow(root.get(), "../outside/secret", O_RDONLY));
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(ConfinedTest, OpensWhatLiesDeeperThanTheLongestPath) {
    std::string path;
    for (int level = 0; level < 500; ++level) {
        path += (level == 0 ? "" : "/") + std::string("directory");
    }
    ASSERT_GT(path.size(), PATH_MAX);
    ASSERT_TRUE(base::makeBelow(root.get(), path));
    EXPECT_TRUE(base::openBelow(root.get(), path + "/file", O_WRONLY | O_CREAT, 0644));
    EXPECT_TRUE(base::openOnSameMount(root.get(), path + "/file", O_RDONLY));
    EXPECT_FALSE(base::openBelow(root.get(), path + "/absent", O_RDONLY));
    EXPECT_EQ(errno, ENOENT);
}

TEST(OpenOnSameMountTest, RefusesWhatIsMountedThere) {
    const TempDir dir;
    dir.make_dir("root/mounted");
    dir.write("other/below/file", "text");
    qx_test::PrivateRoot view;
    view.show(dir.path("other"), dir.path("root/mounted"));
    const auto result = view.run([&] {
        const Fd opened(open(dir.path("root").c_str(), O_PATH | O_DIRECTORY));
        const bool refused = !base::openOnSameMount(opened.get(), "mounted/below/file", O_RDONLY);
        const bool mount = errno == EXDEV;
        const bool same = static_cast<bool>(base::openOnSameMount(opened.get(), ".", O_RDONLY));
        return std::string(refused && mount && same ? "refused" : "opened");
    });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("refused", result.text);
}

}  // namespace
