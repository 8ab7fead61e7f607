// Nothing is left open or allocated, however often an operation runs.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"
#include "tests/unit/src/checker_fixture.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::check;
using qx_test::TempDir;
using qx_test::write_index;

constexpr int kTimes = 1000;

TEST(Resources, AThousandChecksRebuildsAndFaultsLeaveDescriptorsAsTheyWere) {
    const TempDir dir;
    const std::string root = dir.make_dir("root");
    const std::string out = dir.path("out");
    const std::string nowhere = dir.path("none/out");
    qx_test::IndexImage image = write_index({{8, "lost", "////os", 3}, {4, "d", "", 2}});
    qx_test::IndexImage broken = image;
    broken.truncate(broken.size() - 4);
    const std::string path = dir.write("index", image.bytes());
    const size_t before = qx_test::open_descriptors();
    for (int i = 0; i < kTimes; ++i) {
        std::vector<uint8_t> bytes = image.writable_copy();
        EXPECT_EQ(fsck_in_core("i", bytes.data(), bytes.size(), out.c_str(), root.c_str()), 1);
        bytes = image.writable_copy();
        EXPECT_EQ(fsck_in_core("i", bytes.data(), bytes.size(), nowhere.c_str(), root.c_str()), -1);
        bytes = broken.writable_copy();
        EXPECT_EQ(fsck_in_core("i", bytes.data(), bytes.size(), nullptr, nullptr), -2);
        struct stat st {};
        void* mapping = mmap_file(path.c_str(), &st);
        EXPECT_EQ(fsck_in_core("i", mapping, static_cast<size_t>(st.st_size), nullptr, nullptr), 0);
        munmap(mapping, static_cast<size_t>(st.st_size));
    }
    EXPECT_EQ(qx_test::open_descriptors(), before);
    clean_memory();
}

class AreaResources : public CheckerTest {};

TEST_F(AreaResources, ScansAndWalksLeaveDescriptorsAndDirectoryAsTheyWere) {
    const std::string root = area_.root();
    area_.add_template("os/x");
    area_.add_shortcut("x", "os/x");
    area_.add_sticky("lost", "////os/lost");
    area_.add_link("link", "////os/x");
    area_.add_file("sub/file");
    area_.add_dir("damaged", 04755);
    area_.add_file("damaged/._qxlnk_.", "no index");
    const auto go_on = [](void*, const char*, const char*, int, const struct stat*) { return 0; };
    const auto refuse = [](void*, const char*, const char*, int, const struct stat*) { return 5; };
    const size_t before = qx_test::open_descriptors();
    EXPECT_EQ(3, scan_dir_for_index(root.c_str(), 0));
    EXPECT_EQ(-1, scan_private(".", go_on, nullptr));
    EXPECT_EQ(5, scan_private(".", refuse, nullptr));
    EXPECT_EQ(-1, scan_private("missing", go_on, nullptr));
    EXPECT_EQ(before, qx_test::open_descriptors());
    EXPECT_EQ(area_.dir(), std::filesystem::current_path());
}

TEST_F(AreaResources, FilesHandledWellOrNotLeaveDescriptorsAsTheyWere) {
    area_.add_file("a");
    area_.add_file("sub/b");
    const struct stat st = area_.stat_of("a");
    char text[64];
    const size_t before = qx_test::open_descriptors();
    EXPECT_EQ(0, create_shortcut("s", "////os/x", 8, &st));
    EXPECT_EQ(1, create_shortcut("/dev/full", "////os/x", 8, &st));
    EXPECT_EQ(0, make_shortcut("m", "////os/x", 8, &st));
    EXPECT_EQ(1, make_shortcut("sub", "////os/x", 8, &st));
    EXPECT_EQ(8, read_shortcut("s", text, sizeof(text)));
    EXPECT_EQ(-3, read_shortcut("s", text, 1));
    EXPECT_EQ(1, compare_files("a", "s"));
    EXPECT_EQ(-1, compare_files("a", "missing"));
    EXPECT_EQ(0, copy_reg_file("a", "copy"));
    EXPECT_EQ(-2, copy_reg_file("a", "/dev/full"));
    unsigned flags = 0;
    get_eattr("a", &flags);
    EXPECT_EQ(-1, set_eattr("/proc/self/status", flags));
    EXPECT_EQ(0, remove_dir("sub"));
    qx_test::captured([] { EXPECT_EQ(-1, remove_dir("a")); });
    EXPECT_EQ(before, qx_test::open_descriptors());
}

TEST(Resources, AThousandChecksDoNotGrowTheHeap) {
    const qx_test::IndexImage image = write_index({{8, "a", "////os", 3}, {4, "d", "", 2}});
    check(image, 0);
    clean_memory();
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < kTimes; ++i) {
        check(image, 0);
    }
    clean_memory();
    EXPECT_LE(mallinfo2().uordblks, before + 4096);
}

TEST(Resources, AThousandLogSettingsLeaveDescriptorsAsTheyWere) {
    const TempDir dir;
    const std::string log = dir.path("log");
    const size_t before = qx_test::open_descriptors();
    for (int i = 0; i < kTimes; ++i) {
        set_log(0, log.c_str(), "prog");
    }
    set_log(0, nullptr, nullptr);
    EXPECT_EQ(qx_test::open_descriptors(), before);
}

}  // namespace
