// Template files that an area refers to, and links that get a new cache identifier.
#include "src/area/usage.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/content.h"
#include "src/area/index_area.h"
#include "src/index/index_file.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"

namespace qxfs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AreaUsage : public testing::Test {
protected:
    void open() {
        std::string error;
        ASSERT_TRUE(openArea(m_builder.privateDir(), m_builder.templateRoot(), m_area, error))
            << error;
    }

    qx_test::TempDir m_folder;
    qx_test::AreaBuilder m_builder{m_folder.path("w")};
    Area m_area;
};

TEST_F(AreaUsage, countsEachTemplateFileOnceWhetherLinkedOrIndexed) {
    m_builder.shortcut("bin/sh", "shell");
    m_builder.magicSymlink("lib/c", "library");
    m_builder.file("etc/own", "mine");
    open();
    std::set<std::string> before;
    EXPECT_THAT(collectUsed(m_area, before), IsEmpty());
    indexArea(m_area, {}, [](const IndexOutcome&) {});

    std::set<std::string> after;
    EXPECT_THAT(collectUsed(m_area, after), IsEmpty());

    EXPECT_THAT(before,
                ElementsAre(m_builder.templateFile("bin/sh"), m_builder.templateFile("lib/c")));
    EXPECT_EQ(before, after);
}

TEST_F(AreaUsage, namesTemplateFilesThatAreNotThere) {
    m_builder.shortcut("bin/sh", "shell");
    open();
    unlink(m_builder.templateFile("bin/sh").c_str());

    std::set<std::string> files;
    EXPECT_THAT(collectUsed(m_area, files), IsEmpty());

    EXPECT_THAT(files, ElementsAre(m_builder.templateFile("bin/sh")));
}

TEST_F(AreaUsage, saysWhichIndexItCouldNotRead) {
    m_builder.shortcut("bin/sh", "shell");
    open();
    indexArea(m_area, {}, [](const IndexOutcome&) {});
    std::ofstream(m_builder.root() + "/bin/._qxlnk_.") << "no index, though long enough for one";

    std::set<std::string> files;
    const auto failures = collectUsed(m_area, files);

    ASSERT_EQ(1U, failures.size());
    EXPECT_THAT(failures[0], testing::HasSubstr("\"/bin\": the directory index is damaged"));
}

class CacheClone : public testing::Test {
protected:
    CacheClone() {
        cacheFile(kOld, "sh");
        cacheFile(kNew, "sh");
        std::filesystem::create_directories(root() + "/bin");
        shortcut(root() + "/bin/sh", link(kOld, "sh"));
        std::filesystem::create_directories(root() + "/indexed");
        shortcut(root() + "/indexed/sh", link(kOld, "sh"));
        EXPECT_EQ(0, ::symlink(link(kOld, "sh").c_str(), (root() + "/bin/magic").c_str()));
        std::string error;
        EXPECT_TRUE(openArea(m_folder.path("area"), m_folder.path("template"), m_area, error));
    }

    [[nodiscard]] std::string root() const { return m_folder.path("area") + "/root"; }
    static std::string link(const std::string& id, const std::string& name) {
        return "////vc/" + id + "/root/" + name;
    }
    void cacheFile(const std::string& id, const std::string& name) const {
        const auto folder = m_folder.path("template") + "/vc/" + id + "/root";
        std::filesystem::create_directories(folder);
        std::ofstream(folder + "/" + name) << id;
        chmod((folder + "/" + name).c_str(), 0755);
    }
    static void shortcut(const std::string& path, const std::string& text) {
        std::ofstream(path) << text;
        chmod(path.c_str(), 01755);
    }
    [[nodiscard]] std::string read(const std::string& inside) const {
        return base::readSuspect(AT_FDCWD, root() + inside, 4096).value_or("unreadable");
    }

    static inline const std::string kOld = "aaaaaaaa";
    static inline const std::string kNew = "bbbbbbbb";
    qx_test::TempDir m_folder;
    Area m_area;
};

TEST_F(CacheClone, rewritesShortcutsMagicSymlinksAndIndexes) {
    // The link in "bin" has another name than its file, so "bin" cannot be indexed.
    indexArea(m_area, {}, [](const IndexOutcome&) {});

    std::uint64_t changed = 0;
    EXPECT_THAT(cloneArea(m_area, kOld, kNew, changed), IsEmpty());

    EXPECT_EQ(link(kNew, "sh"), read("/bin/sh"));
    const auto index =
        dirindex::readIndexFile(AT_FDCWD, root() + "/indexed/" + dirindex::kIndexName);
    ASSERT_TRUE(index.sound);
    EXPECT_EQ(1, std::count_if(index.entries.begin(), index.entries.end(),
                               [](const dirindex::IndexEntry& entry) {
                                   return entry.link == "////vc/" + kNew + "/root";
                               }));
    EXPECT_EQ(link(kNew, "sh"), std::filesystem::read_symlink(root() + "/bin/magic").string());
    EXPECT_EQ(3U, changed);
}

TEST_F(CacheClone, keepsModeAndTimesOfAShortcut) {
    struct stat before {};
    ASSERT_EQ(0, lstat((root() + "/bin/sh").c_str(), &before));

    std::uint64_t changed = 0;
    cloneArea(m_area, kOld, kNew, changed);

    struct stat after {};
    ASSERT_EQ(0, lstat((root() + "/bin/sh").c_str(), &after));
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_mtime, after.st_mtime);
}

TEST_F(CacheClone, leavesAFileOfTheContainerAloneWhateverItsName) {
    std::ofstream(root() + "/bin/magic.~new") << "mine";

    std::uint64_t changed = 0;
    EXPECT_THAT(cloneArea(m_area, kOld, kNew, changed), IsEmpty());

    EXPECT_EQ("mine", read("/bin/magic.~new"));
}

TEST_F(CacheClone, leavesLinksOfOtherCachesAlone) {
    std::uint64_t changed = 0;
    EXPECT_THAT(cloneArea(m_area, "cccccccc", kNew, changed), IsEmpty());

    EXPECT_EQ(0U, changed);
    EXPECT_EQ(link(kOld, "sh"), read("/bin/sh"));
}

}  // namespace
}  // namespace qxfs
