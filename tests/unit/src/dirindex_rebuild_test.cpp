// Lost links: how they are found, and the index written without them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/private_root.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::captured;
using qx_test::check;
using qx_test::Checked;
using qx_test::IndexImage;
using qx_test::listed_names;
using qx_test::read_file;
using qx_test::TempDir;
using qx_test::write_index;

class Rebuild : public testing::Test {
protected:
    Rebuild() {
        area_.write("root/os/lib/kept", "");
        image_ = write_index(
            {{8, "kept", "////os/lib", 11}, {8, "lost", "////os/lib", 13}, {4, "dir", "", 6}});
    }
    ~Rebuild() override { clean_memory(); }

    Checked check_with_root(int level, const char* out_path = nullptr) {
        return check(image_, level, out_path, root_.c_str());
    }

    TempDir area_;
    std::string root_ = area_.path("root");
    std::string out_ = area_.path("out");
    IndexImage image_;
};

TEST_F(Rebuild, FindsNothingLostWithoutARoot) {
    EXPECT_EQ(check(image_, 2, out_.c_str()).result, 0);
    EXPECT_NE(access(out_.c_str(), F_OK), 0);
}

TEST_F(Rebuild, FindsNothingLostWhenAllTemplateFilesExist) {
    area_.write("root/os/lib/lost", "");
    EXPECT_EQ(check_with_root(2, out_.c_str()).result, 0);
    EXPECT_NE(access(out_.c_str(), F_OK), 0);
}

TEST_F(Rebuild, ReportsALostLinkFromLevelTwo) {
    const Checked checked = check_with_root(2);
    EXPECT_EQ(checked.result, 1);
    EXPECT_EQ(checked.output.err, "Lost link in 'dirindex' " + root_ + "/os/lib/lost\n");
    EXPECT_EQ(check_with_root(1).output.err, "");
}

TEST_F(Rebuild, KeepsTheOtherEntriesInMemoryWithoutAnOutPath) {
    EXPECT_EQ(check_with_root(0).result, 1);
    EXPECT_EQ(listed_names(), (std::vector<std::string>{"kept", "dir"}));
    EXPECT_EQ(tot, 2u);
    EXPECT_EQ(dtot, 1u);
}

TEST_F(Rebuild, TakesADanglingSymlinkInTheTemplateForPresent) {
    area_.make_link("root/os/lib/lost", "nowhere");
    EXPECT_EQ(check_with_root(0).result, 0);
}

TEST_F(Rebuild, WritesTheIndexWithoutLostEntries) {
    EXPECT_EQ(check_with_root(0, out_.c_str()).result, 1);
    IndexImage expected = write_index({{8, "kept", "////os/lib", 11}, {4, "dir", "", 6}});
    expected.set32(16, 0xD98C1DD4);
    EXPECT_EQ(read_file(out_), expected.bytes());
}

TEST_F(Rebuild, LeavesNothingInMemoryAfterWriting) {
    check_with_root(0, out_.c_str());
    EXPECT_EQ(dlist, nullptr);
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(ht, nullptr);
}

TEST_F(Rebuild, SaysWhatItDoesAtLevelFour) {
    const qx_test::WorkingDirectory inside(area_.path());
    const Checked checked = check(image_, 4, "out", "root");
    EXPECT_EQ(checked.output.err,
              "-\tkept -> ////os/lib/kept\n"
              "-\tlost -> ////os/lib/lostLost link in 'dirindex' root/os/lib/lost\n\n"
              "d\tdir\n"
              "Scanned 2 entries, 1 dirs\n"
              "wrote file " +
                  area_.path() + "/out \n");
}

TEST_F(Rebuild, IsTakenWithAChecksumWarningAtTheNextCheck) {
    check_with_root(0, out_.c_str());
    const IndexImage rebuilt = IndexImage::from_bytes(read_file(out_));
    const Checked again = check(rebuilt, 4, nullptr, root_.c_str());
    EXPECT_EQ(again.result, 0);
    EXPECT_EQ(again.output.err.rfind("WARNING: wrong checksum 'index'\n", 0), 0u);
}

TEST_F(Rebuild, OfAnIndexThatLostEverythingHasNoRecords) {
    image_ = write_index({{8, "lost", "////os/lib", 13}});
    EXPECT_EQ(check_with_root(0, out_.c_str()).result, 1);
    IndexImage expected(1);
    expected.set32(16, 0xD98C1DD4);
    EXPECT_EQ(read_file(out_), expected.bytes());
}

TEST_F(Rebuild, FailsWhenTheOutPathCannotBeOpened) {
    const std::string nowhere = area_.path("none/out");
    const Checked checked = check_with_root(2, nowhere.c_str());
    EXPECT_EQ(checked.result, -1);
    EXPECT_EQ(checked.output.err, "Lost link in 'dirindex' " + root_ + "/os/lib/lost\n" +
                                      "Error: can't open '" + nowhere +
                                      "': No such file or directory\n");
    EXPECT_EQ(check_with_root(1, nowhere.c_str()).output.err, "");
}

TEST_F(Rebuild, DoesNotWriteThroughASymbolicLink) {
    area_.write("victim", "precious");
    area_.make_link("out", "victim");
    const Checked checked = check_with_root(2, out_.c_str());
    EXPECT_EQ(checked.result, -1);
    EXPECT_NE(checked.output.err.find("can't open '" + out_ + "'"), std::string::npos);
    EXPECT_EQ(read_file(area_.path("victim")), "precious");
}

TEST_F(Rebuild, FailsWhenTheDeviceIsFull) {
    const std::string disk = area_.make_dir("disk");
    const auto full = qx_test::with_full_disk(disk, [&] {
        const Checked checked = check_with_root(2, (disk + "/out").c_str());
        return std::to_string(checked.result) + " " + checked.output.err;
    });
    if (!full.ran) {
        GTEST_SKIP() << full.text;
    }
    EXPECT_EQ(full.text.substr(0, 3), "-1 ");
    EXPECT_NE(full.text.find("can't write '" + disk + "/out': No space left on device"),
              std::string::npos);
}

TEST_F(Rebuild, CutsNothingOffALinkShorterThanItsPrefix) {
    IndexImage image(1);
    image.set_slot(0, image.add(8, "kept", 3, "//"));
    area_.write("root/kept", "");
    EXPECT_EQ(check(image, 2, nullptr, root_.c_str()).result, 0);
}

TEST_F(Rebuild, TakesAPathTooLongToLookUpForLost) {
    IndexImage image(1);
    image.set_slot(0, image.add(8, "a", 3, "////" + std::string(4000, 'x')));
    const std::string root = root_ + std::string(200, '/');
    EXPECT_EQ(check(image, 0, nullptr, root.c_str()).result, 1);
}

}  // namespace
