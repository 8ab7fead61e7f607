// Nothing is left open or allocated, however often an operation runs.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/temp_dir.h"
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
