// What the check accepts, lists and warns of.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/answered_calls.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::captured;
using qx_test::check;
using qx_test::Checked;
using qx_test::DebugLevel;
using qx_test::IndexImage;
using qx_test::TempDir;

// Two records in one bucket: "a" at 24, "b" at 44.
IndexImage two_records() {
    IndexImage image(1);
    image.set_slot(0, image.add(8, "a", 0));
    image.add(4, "b", 3);
    image.fix_checksum();
    return image;
}

// Expects a warning at level 4 only, and that it changes nothing.
void expect_warning(const IndexImage& image, const std::string& text) {
    const Checked loud = check(image, 4);
    EXPECT_EQ(loud.result, 0);
    EXPECT_NE(loud.output.err.find(text), std::string::npos) << loud.output.err;
    const Checked quiet = check(image, 3);
    EXPECT_EQ(quiet.result, 0);
    EXPECT_EQ(quiet.output.err, "");
    clean_memory();
}

TEST(Check, ListsASoundIndexAtLevelFour) {
    const Checked checked = check(two_records(), 4);
    EXPECT_EQ(checked.result, 0);
    EXPECT_EQ(checked.output.err, "-\ta\nd\tb\n");
    EXPECT_EQ(checked.output.out, "");
    clean_memory();
}

TEST(Check, IsSilentBelowLevelFour) {
    EXPECT_EQ(check(two_records(), 3).output.err, "");
    clean_memory();
}

TEST(Check, KeepsTheEntriesOfASoundIndex) {
    IndexImage image(1);
    image.set_slot(0, image.add(8, "a", 0, "////t", 0xFFFFFFFF));
    image.add(4, "b", 3);
    check(image, 0);
    EXPECT_EQ(qx_test::listed_names(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(tot, 2u);
    EXPECT_EQ(dtot, 1u);
    EXPECT_EQ(dlist->ino, 0xFFFFFFFF);
    EXPECT_EQ(dlist->type, 8);
    EXPECT_EQ(dlist->namelen, 1);
    EXPECT_STREQ(dlist->poolstr->text, "////t");
    EXPECT_EQ(dlist->next->poolstr, nullptr);
    EXPECT_EQ(dlist_end, dlist->next);
    clean_memory();
}

TEST(Check, ShowsLinksInTheListing) {
    IndexImage image(1);
    image.set_slot(0, image.add(10, "a", 3, "////t/u"));
    image.fix_checksum();
    EXPECT_EQ(check(image, 4).output.err, "l\ta -> ////t/u/a\n");
    clean_memory();
}

TEST(Check, StartsFromNothing) {
    check(two_records(), 0);
    pool_add("////stale");
    emitted = 77;
    check(two_records(), 0);
    EXPECT_EQ(tot, 2u);
    EXPECT_EQ(dtot, 1u);
    EXPECT_EQ(emitted, 0u);
    EXPECT_EQ(pool, nullptr);
    clean_memory();
}

TEST(Check, RemembersTheWorkingDirectory) {
    const TempDir dir;
    const qx_test::WorkingDirectory inside(dir.path());
    check(two_records(), 0);
    EXPECT_EQ(std::string(current_path), dir.path());
    clean_memory();
}

TEST(Check, GoesOnWithoutAWorkingDirectory) {
    const TempDir dir;
    const qx_test::WorkingDirectory inside(dir.make_dir("gone"));
    ASSERT_EQ(rmdir(dir.path("gone").c_str()), 0);
    EXPECT_EQ(check(two_records(), 0).result, 0);
    EXPECT_STREQ(current_path, "");
    clean_memory();
}

TEST(Check, MarksReachedRecordsAndClearsTheChecksumInMemoryOnly) {
    const IndexImage image = two_records();
    std::vector<uint8_t> bytes = image.writable_copy();
    EXPECT_EQ(fsck_in_core("index", bytes.data(), bytes.size(), nullptr, nullptr), 0);
    EXPECT_EQ(bytes[25], 0x80);
    EXPECT_EQ(bytes[45], 0x83);
    EXPECT_EQ(std::string(bytes.begin() + 16, bytes.begin() + 20), std::string(4, '\0'));
    clean_memory();
}

TEST(Check, TakesTheNameUpToItsTerminator) {
    IndexImage image = two_records();
    image.set_namelen(24, 3);
    check(image, 0);
    EXPECT_EQ(dlist->namelen, 1);
    image.set_namelen(24, 0);
    check(image, 0);
    EXPECT_STREQ(dlist->name, "a");
    EXPECT_EQ(dlist->namelen, 1);
    clean_memory();
}

TEST(Check, AcceptsANameOf256Bytes) {
    IndexImage image(1);
    image.set_slot(0, image.add(8, std::string(256, 'n'), 3));
    EXPECT_EQ(check(image, 2).result, 0);
    EXPECT_EQ(dlist->namelen, 256);
    clean_memory();
}

TEST(Check, AcceptsARecordOf4096Bytes) {
    IndexImage image = two_records();
    image.append(std::string(4096 - 20, '\0')).set_reclen(44, 4096);
    EXPECT_EQ(check(image, 2).result, 0);
    clean_memory();
}

TEST(Check, AcceptsAnyBucketCountAboveZero) {
    IndexImage image(3);
    image.set_slot(1, image.add(8, "a", 3));
    EXPECT_EQ(check(image, 2).result, 0);
    clean_memory();
}

TEST(Check, DoesNotTrustTheLengthWordOfALink) {
    IndexImage image(1);
    const uint32_t record = image.add(8, "a", 3, "////t");
    image.set_slot(0, record).set32(image.get32(record + 12), 0xFFFFFFFF);
    EXPECT_EQ(check(image, 2).result, 0);
    EXPECT_STREQ(dlist->poolstr->text, "////t");
    clean_memory();
}

TEST(CheckWarning, WrongChecksum) {
    IndexImage image = two_records();
    image.set_byte(16, image.byte(16) ^ 1);
    expect_warning(image, "WARNING: wrong checksum 'index'\n");
}

TEST(CheckWarning, EntryAfterEof) {
    IndexImage image(2);
    image.set_slot(0, image.add(8, "a", 3));
    image.set_slot(1, image.add(8, "b", 3));
    expect_warning(image, "WARNING: entry after EOF\n");
}

TEST(CheckWarning, EofInsideABucket) {
    IndexImage image = two_records();
    image.set_flags(24, 2);
    expect_warning(image, "WARNING: EOF?\n");
}

TEST(CheckWarning, RecordOutsideTheHash) {
    IndexImage image = two_records();
    image.set_flags(24, 1);
    expect_warning(image, "-\ta\nd\tb\nWARNING: dentry is not in hash\n");
}

TEST(CheckWarning, EofInTheMiddle) {
    IndexImage image = two_records();
    image.set_flags(24, 2);
    expect_warning(image, "-\ta\nWARNING: EOF is in the middle\n");
}

TEST(CheckWarning, LastRecordWithoutEof) {
    IndexImage image = two_records();
    image.set_flags(44, 1);
    expect_warning(image, "d\tb\nWARNING: last dentry is not EOF\n");
}

class MapFile : public testing::Test {
protected:
    std::string message(const std::string& path, int level) {
        return captured([&] {
                   const DebugLevel guard(level);
                   struct stat st {};
                   EXPECT_EQ(mmap_file(path.c_str(), &st), nullptr);
               })
            .out;
    }
    TempDir dir_;
};

TEST_F(MapFile, MapsTheWholeFilePrivateAndWritable) {
    const std::string path = dir_.write("f", "content");
    struct stat st {};
    auto* mapping = static_cast<char*>(mmap_file(path.c_str(), &st));
    ASSERT_NE(mapping, nullptr);
    ASSERT_EQ(st.st_size, 7);
    EXPECT_EQ(std::string(mapping, 7), "content");
    mapping[0] = 'C';
    EXPECT_EQ(munmap(mapping, 7), 0);
    EXPECT_EQ(qx_test::read_file(path), "content");
}

TEST_F(MapFile, ReportsAMissingFile) {
    const std::string path = dir_.path("none");
    EXPECT_EQ(message(path, 2),
              "Warning: can't open dirindex file '" + path + "': No such file or directory\n");
    EXPECT_EQ(message(path, 1), "");
}

TEST_F(MapFile, ReportsWhatCannotBeMapped) {
    const std::string path = dir_.write("empty", "");
    EXPECT_EQ(message(path, 2),
              "Warning: can't mmap dirindex file '" + path + "': Invalid argument\n");
    EXPECT_EQ(message(path, 1), "");
}

TEST_F(MapFile, ReportsWhatCannotBeExamined) {
    const std::string path = dir_.write("f", "content");
    const auto result = qx_test::with_calls_answered(
        {SYS_fstat, SYS_newfstatat}, EIO, [&] { return message(path, 2) + message(path, 1); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ(result.text,
              "Warning: can't fstat dirindex file '" + path + "': Input/output error\n");
}

TEST_F(MapFile, LeavesTheSystemsReasonEvenWhenItsMessageCannotBeLogged) {
    const std::string path = dir_.path("none");
    int reason = 0;
    qx_test::captured([&] {
        set_log(2, dir_.path().c_str(), nullptr);
        struct stat st {};
        mmap_file(path.c_str(), &st);
        reason = errno;
        set_log(0, nullptr, nullptr);
    });
    EXPECT_EQ(reason, ENOENT);
}

TEST_F(MapFile, LeavesNoDescriptorOpen) {
    const std::string good = dir_.write("f", "content");
    const std::string empty = dir_.write("empty", "");
    const size_t before = qx_test::open_descriptors();
    struct stat st {};
    munmap(mmap_file(good.c_str(), &st), 7);
    mmap_file(empty.c_str(), &st);
    EXPECT_EQ(qx_test::open_descriptors(), before);
}

TEST(PlantedPipe, inPlaceOfAnIndexIsNotWaitedFor) {
    const qx_test::TempDir dir;
    const std::string path = dir.path("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    struct stat st;
    EXPECT_EQ(mmap_file(path.c_str(), &st), nullptr);
}

}  // namespace
