// What a container sees: through shortcuts, magic links, indexes and symbolic links.
#include "src/area/resolve.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "base/content.h"
#include "src/area/index_area.h"
#include "src/index/index_file.h"
#include "tests/support/area_builder.h"
#include "tests/support/temp_dir.h"

namespace qxfs {
namespace {

using testing::ElementsAre;

class SeenArea : public testing::Test {
protected:
    void open() {
        std::string error;
        ASSERT_TRUE(openArea(m_builder.privateDir(), m_builder.templateRoot(), m_area, error))
            << error;
    }

    void index() {
        open();
        indexArea(m_area, {}, [](const IndexOutcome&) {});
    }

    std::string content(const std::string& path) {
        Resolved resolved;
        std::string error;
        if (!resolve(m_area, path, resolved, error)) {
            return error;
        }
        return base::readSuspect(AT_FDCWD, resolved.file, 1 << 20).value_or("unreadable");
    }

    std::vector<std::string> names(const std::string& path) {
        std::vector<SeenEntry> entries;
        std::string error;
        EXPECT_TRUE(listSeen(m_area, path, entries, error)) << error;
        std::vector<std::string> found;
        for (const auto& entry : entries) {
            found.push_back(entry.name + (entry.resolved.fromTemplate ? " template" : ""));
        }
        return found;
    }

    qx_test::TempDir m_folder;
    qx_test::AreaBuilder m_builder{m_folder.path("w")};
    Area m_area;
};

TEST_F(SeenArea, aShortcutShowsItsTemplateFile) {
    m_builder.shortcut("bin/sh", "shell");
    open();
    EXPECT_EQ("shell", content("/bin/sh"));
    EXPECT_THAT(names("/bin"), ElementsAre("sh template"));
}

TEST_F(SeenArea, anIndexedEntryShowsItsTemplateFile) {
    m_builder.shortcut("bin/sh", "shell");
    index();
    ASSERT_FALSE(std::filesystem::exists(m_builder.root() + "/bin/sh"));
    EXPECT_EQ("shell", content("/bin/sh"));
    EXPECT_THAT(names("/bin"), ElementsAre("sh template"));
}

TEST_F(SeenArea, aFileOfItsOwnShowsItself) {
    m_builder.file("etc/own", "mine");
    index();
    EXPECT_EQ("mine", content("/etc/own"));
    EXPECT_THAT(names("/etc"), ElementsAre("own"));
}

TEST_F(SeenArea, aMagicDirectoryShowsTheTemplateDirectory) {
    m_builder.templateOnly("share/doc/readme", "read me");
    m_builder.directory("share");
    const auto share = m_builder.root() + "/share";
    ASSERT_EQ(0, symlink("////os/1/root/share", (share + "/._qxlnk_.").c_str()));
    ASSERT_EQ(0, chmod(share.c_str(), 04755));
    open();
    EXPECT_EQ("read me", content("/share/doc/readme"));
    EXPECT_THAT(names("/share"), ElementsAre("doc template"));
}

TEST_F(SeenArea, aSymbolicLinkIsFollowedInsideTheContainer) {
    m_builder.shortcut("bin/sh", "shell");
    m_builder.symlink("bin/bash", "sh");
    m_builder.symlink("absolute", "/bin/sh");
    m_builder.directory("a/b");
    m_builder.symlink("a/b/up", "../../bin/sh");
    index();
    EXPECT_EQ("shell", content("/bin/bash"));
    EXPECT_EQ("shell", content("/absolute"));
    EXPECT_EQ("shell", content("/a/b/up"));
}

TEST_F(SeenArea, aSymbolicLinkCannotLeadOutOfTheContainer) {
    m_builder.symlink("passwd", "/etc/passwd");
    m_builder.symlink("up", "../../../../../../etc/passwd");
    open();
    EXPECT_THAT(content("/passwd"), testing::HasSubstr("No such file or directory"));
    EXPECT_THAT(content("/up"), testing::HasSubstr("No such file or directory"));
}

TEST_F(SeenArea, aLinkTextCannotLeadOutOfTheTemplateArea) {
    m_folder.write("w/secret", "secret");
    m_folder.write("w/area/root/out", "////../secret");
    ASSERT_EQ(0, chmod((m_builder.root() + "/out").c_str(), 01644));
    open();
    EXPECT_THAT(content("/out"), testing::HasSubstr("leads out of the template area"));
}

TEST_F(SeenArea, whatWasResolvedIsOpenedThroughNoLinkThatWasPlantedSince) {
    m_folder.write("outside/own", "secret");
    m_builder.file("etc/own", "mine");
    open();
    Resolved resolved;
    std::string error;
    ASSERT_TRUE(resolve(m_area, "/etc/own", resolved, error)) << error;
    ASSERT_TRUE(openResolved(m_area, resolved));
    std::filesystem::remove_all(m_builder.root() + "/etc");
    m_folder.make_link("w/area/root/etc", m_folder.path("outside"));

    EXPECT_FALSE(openResolved(m_area, resolved));
}

TEST_F(SeenArea, aLoopOfSymbolicLinksIsAnError) {
    m_builder.symlink("a", "b");
    m_builder.symlink("b", "a");
    open();
    EXPECT_THAT(content("/a"), testing::HasSubstr("Too many levels of symbolic links"));
}

TEST_F(SeenArea, aNameThatNobodyHasIsAnError) {
    m_builder.shortcut("bin/sh", "shell");
    index();
    EXPECT_THAT(content("/bin/none"), testing::HasSubstr("No such file or directory"));
    EXPECT_THAT(content("/bin/sh/x"), testing::HasSubstr("Not a directory"));
}

TEST_F(SeenArea, listingALinkShowsItsTarget) {
    m_builder.symlink("etc/link", "target");
    open();
    std::vector<SeenEntry> entries;
    std::string error;
    ASSERT_TRUE(listSeen(m_area, "/etc", entries, error)) << error;
    ASSERT_EQ(1U, entries.size());
    EXPECT_EQ("target", entries[0].target);
}

}  // namespace
}  // namespace qxfs
