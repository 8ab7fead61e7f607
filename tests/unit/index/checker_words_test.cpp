// What the checker's words do with files that somebody else can change, replace or plant.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "src/index/index_file.h"
#include "src/qxfsutil.h"
#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

namespace {

class PlantedFiles : public testing::Test {
protected:
    std::string index() {
        std::string bytes;
        std::string error;
        EXPECT_TRUE(dirindex::buildIndex({{8, 3, "a", "////os"}}, bytes, error)) << error;
        return m_folder.write("index", bytes);
    }
    std::string pipe() {
        const auto path = m_folder.path("pipe");
        EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
        return path;
    }

    qx_test::TempDir m_folder;
    qx_test::WorkingDirectory m_work{m_folder.path()};
};

TEST_F(PlantedFiles, StayInMemoryAsTheyWereRead) {
    const auto path = m_folder.write("file", std::string(10000, 'x'));
    struct stat st {};
    auto* const bytes = static_cast<char*>(mmap_file(path.c_str(), &st));
    ASSERT_NE(nullptr, bytes);

    ASSERT_EQ(0, truncate(path.c_str(), 1));

    EXPECT_EQ(std::string(10000, 'x'), std::string(bytes, static_cast<size_t>(st.st_size)));
    munmap(bytes, static_cast<size_t>(st.st_size));
}

TEST_F(PlantedFiles, AreNotReadWhenTheyAreNoFiles) {
    struct stat st {};
    for (const std::string& path :
         {pipe(), m_folder.make_dir("folder"), std::string("/dev/zero")}) {
        const auto said = qx_test::captured([&] {
            qxfsutil_debug_level = 2;
            EXPECT_EQ(nullptr, mmap_file(path.c_str(), &st));
            qxfsutil_debug_level = 0;
        });
        EXPECT_THAT(said.out + said.err,
                    testing::HasSubstr("can't open dirindex file '" + path + "'"));
    }
}

TEST_F(PlantedFiles, AreNotWrittenAsIndexesWhenTheyAreDevices) {
    const auto device = m_folder.path("._qxlnk_.");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0) {
        GTEST_SKIP() << "cannot make a device here: " << std::strerror(errno);
    }
    m_folder.write("a", "");
    const mode_t mode = 0755;
    ASSERT_EQ(0, chmod(".", mode));

    const auto said = qx_test::captured([&] {
        qxfsutil_debug_level = 2;
        EXPECT_EQ(1, create_dirindex(".", "._qxlnk_.", "/qx/template", 0));
        qxfsutil_debug_level = 0;
    });

    EXPECT_THAT(said.err, testing::HasSubstr("can't open '._qxlnk_.': Invalid argument"));
    struct stat st {};
    ASSERT_EQ(0, stat(".", &st));
    EXPECT_EQ(mode, st.st_mode & 07777U);
    clean_memory();
}

TEST_F(PlantedFiles, AreNoTargetsWhenTheyAreNoFiles) {
    const auto source = index();
    const auto target = pipe();
    // A reader, so that the pipe could be opened for writing.
    const int reader = open(target.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);

    EXPECT_EQ(-2, copy_reg_file(source.c_str(), target.c_str()));
    qx_test::captured([&] {
        EXPECT_EQ(-1, clone_dirindex(source.c_str(), target.c_str(), nullptr, nullptr));
        EXPECT_EQ(-1, clone_dirindex(source.c_str(), target.c_str(), "OLD", "new"));
    });

    char byte = 0;
    EXPECT_EQ(0, read(reader, &byte, 1));
    close(reader);
}

TEST_F(PlantedFiles, AreNoSourcesWhenTheyAreNoFiles) {
    const auto target = m_folder.write("target", "kept");

    EXPECT_EQ(-1, copy_reg_file(pipe().c_str(), target.c_str()));
    EXPECT_EQ(-1, compare_files(m_folder.path("pipe").c_str(), target.c_str()));
    EXPECT_EQ(-1, compare_files(target.c_str(), m_folder.path("pipe").c_str()));
    EXPECT_EQ("kept", qx_test::read_file(target));
}

TEST_F(PlantedFiles, AreNoTargetOfAPlainCloneWhenTheyAreLinks) {
    const auto source = index();
    const auto victim = m_folder.write("victim", "mine");
    const auto link = m_folder.make_link("target", victim);

    qx_test::captured(
        [&] { EXPECT_EQ(-1, clone_dirindex(source.c_str(), link.c_str(), nullptr, nullptr)); });

    EXPECT_EQ("mine", qx_test::read_file(victim));
}

TEST(CheckedEntries, HaveNamesThatACallerMayReplace) {
    std::string bytes;
    std::string error;
    ASSERT_TRUE(dirindex::buildIndex({{8, 2, "name", std::nullopt}}, bytes, error)) << error;
    ASSERT_EQ(0, fsck_in_core("index", bytes.data(), bytes.size(), nullptr, nullptr));

    std::free(dlist->name);
    dlist->name = strdup("other");

    clean_memory();
    EXPECT_EQ(nullptr, dlist);
}

}  // namespace
