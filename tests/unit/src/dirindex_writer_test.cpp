// The bytes that the writer makes, and its failures.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "src/dirindex_model.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::captured;
using qx_test::DebugLevel;
using qx_test::Entry;
using qx_test::fill_list;
using qx_test::IndexImage;
using qx_test::md5_start;
using qx_test::TempDir;
using qx_test::write_index;

void prepare(const std::vector<Entry>& entries) {
    fill_list(entries);
    select_prime();
    create_hash_table();
}

std::string zero_checksum(std::string bytes) {
    return bytes.replace(16, 4, 4, '\0');
}

TEST(Writer, WritesAnEmptyIndexAsHeaderAndTable) {
    IndexImage expected(1);
    expected.fix_checksum();
    EXPECT_EQ(write_index({}).bytes(), expected.bytes());
}

TEST(Writer, WritesOneEntryByteForByte) {
    IndexImage expected(1);
    expected.set_slot(0, expected.add(8, "name", 3, "", 0x1234)).fix_checksum();
    EXPECT_EQ(write_index({{8, "name", "", 0x1234}}).bytes(), expected.bytes());
    EXPECT_EQ(expected.get32(4), 24u);
    EXPECT_EQ(expected.size(), 24u + 16 + 8);
}

TEST(Writer, CountsDirectoriesInTheHeader) {
    const IndexImage image = write_index({{4, ".", "", 2}, {4, "..", "", 2}, {8, "f", "", 2}});
    EXPECT_EQ(image.get32(8), 2u);
}

TEST(Writer, PadsNamesToFourBytesWithAtLeastOneZero) {
    const IndexImage image = write_index({{8, "abc", "", 2}, {8, "abcd", "", 2}});
    EXPECT_EQ(image.get32(24 + 4), 20u);
    EXPECT_EQ(image.get32(44 + 4), 24u);
    EXPECT_EQ(image.size(), 68u);
}

TEST(Writer, SharesTheLinkRecordOfTheFirstUser) {
    IndexImage expected(1);
    const uint32_t first = expected.add(8, "libc.so.6", 0, "////os/lib", 11);
    expected.set_slot(0, first);
    const uint32_t second = expected.add(8, "libm.so.6", 3, "", 13);
    expected.set_link(second, expected.get32(first + 12)).fix_checksum();
    EXPECT_EQ(write_index({{8, "libc.so.6", "////os/lib", 11}, {8, "libm.so.6", "////os/lib", 13}})
                  .bytes(),
              expected.bytes());
}

TEST(Writer, PlacesTheLinkRecordInBucketOrderNotInScanOrder) {
    std::vector<Entry> entries;
    for (char c = 'a'; c <= 'j'; ++c) {
        entries.push_back({8, std::string(1, c), "////t", 3});
    }
    std::reverse(entries.begin(), entries.end());
    const IndexImage image = write_index(entries);
    // With 251 buckets single letters fall into the bucket of their code, so "a" comes first.
    const uint32_t first = image.get32(20 + 4 * 'a');
    EXPECT_EQ(first, image.get32(4));
    EXPECT_EQ(image.get32(first + 12), first + 16 + 4);
    EXPECT_EQ(image.get32(image.get32(20 + 4 * 'j') + 12), first + 16 + 4);
}

TEST(Writer, MarksTheLastOfEachBucketAndOfTheFile) {
    std::vector<Entry> entries;
    for (char c = 'a'; c <= 'h'; ++c) {
        entries.push_back({8, std::string(1, c), "", 2});
    }
    const IndexImage image = write_index(entries);
    for (char c = 'a'; c <= 'h'; ++c) {
        const uint32_t record = image.get32(20 + 4 * static_cast<uint32_t>(c));
        EXPECT_EQ(image.byte(record + 1), c == 'h' ? 3 : 1) << c;
    }
}

TEST(Writer, LeavesFlagsOfOtherRecordsZero) {
    const IndexImage image = write_index({{8, "a", "", 2}, {8, "b", "", 2}});
    EXPECT_EQ(image.byte(24 + 1), 0);
    EXPECT_EQ(image.byte(44 + 1), 3);
}

// Records of 24 bytes from 24 on: the 169th begins at 4056, and 4080 is where the next would.
std::vector<Entry> entries_up_to_4080() {
    std::vector<Entry> entries;
    for (int i = 0; i < 169; ++i) {
        entries.push_back({8, "n" + std::to_string(100 + i), "", 2});
    }
    return entries;
}

// What is listed, written with so many buckets.
IndexImage written(unsigned buckets) {
    const TempDir dir;
    prime = buckets;
    create_hash_table();
    FILE* stream = fopen(dir.path("i").c_str(), "w+");
    EXPECT_EQ(emit_dirindex(stream), 0);
    fclose(stream);
    return IndexImage::from_bytes(qx_test::read_file(dir.path("i")));
}

IndexImage written_with_buckets(unsigned buckets, const std::vector<Entry>& entries) {
    fill_list(entries);
    return written(buckets);
}

IndexImage written_with_one_bucket(const std::vector<Entry>& entries) {
    return written_with_buckets(1, entries);
}

std::vector<std::string> names_of_bucket(const IndexImage& image, uint32_t bucket) {
    std::vector<std::string> names;
    uint32_t at = image.get32(20 + 4 * bucket);
    for (bool more = at != 0; more; at += image.get32(at + 4)) {
        names.push_back(image.bytes().substr(at + 16, image.get16(at + 2)));
        more = (image.byte(at + 1) & 1) == 0;
    }
    return names;
}

TEST(Writer, MovesARecordThatWouldCrossABlockToTheNextOne) {
    std::vector<Entry> entries = entries_up_to_4080();
    entries.push_back({8, std::string(23, 'x'), "", 2});
    const IndexImage image = written_with_one_bucket(entries);
    EXPECT_EQ(image.size(), 4096u + 40);
    EXPECT_EQ(image.get16(4096 + 2), 23);
    EXPECT_EQ(image.get32(4056 + 4), 24u + 16);
    EXPECT_EQ(image.bytes().substr(4080, 16), std::string(16, '\0'));
}

TEST(Writer, LetsARecordEndExactlyAtABlock) {
    std::vector<Entry> entries = entries_up_to_4080();
    entries.back().name = std::string(23, 'x');  // 40 bytes from 4056 on
    const IndexImage image = written_with_one_bucket(entries);
    EXPECT_EQ(image.size(), 4096u);
}

TEST(Writer, CountsAGapBeforeTheFirstRecordInStart) {
    // 1019 slots end at 4096: no gap. A prime of 1018 leaves 4 bytes, too few for a record.
    const IndexImage image = written_with_buckets(1018, {{8, "a", "", 2}});
    EXPECT_EQ(image.get32(4), 4096u);
    EXPECT_EQ(image.bytes().substr(4092, 4), std::string(4, '\0'));
}

TEST(Writer, ReportsARecordOverABlockAndWritesIt) {
    const std::vector<Entry> entries = {{8, "long", "////" + std::string(5000, 'x'), 3}};
    IndexImage image;
    const auto output = captured([&] {
        const DebugLevel level(1);
        image = write_index(entries);
    });
    EXPECT_EQ(output.err, "too long entry 'long'\n");
    EXPECT_EQ(image.get32(4), 4096u);
    EXPECT_EQ(image.get32(4096 + 4), image.size() - 4096);
    EXPECT_NE(image.bytes().find(std::string(5000, 'x')), std::string::npos);
}

TEST(Writer, SaysNothingOfLongRecordsBelowLevelOne) {
    const auto output = captured([] {
        write_index({{8, "long", "////" + std::string(5000, 'x'), 3}});
    });
    EXPECT_EQ(output.err, "");
}

TEST(Writer, TakesARecordOfExactlyOneBlock) {
    // 16 + 4 (name) + 4 + room of the link: 4072.
    const auto output = captured([] {
        const DebugLevel level(1);
        write_index({{8, "a", "////" + std::string(4067, 'x'), 3}});
    });
    EXPECT_EQ(output.err, "");
}

TEST(Writer, PutsTheDigestOfTheFileWithChecksumZero) {
    const IndexImage image = write_index({{8, "a", "////t", 3}, {4, "b", "", 2}});
    EXPECT_EQ(image.bytes().substr(16, 4), md5_start(zero_checksum(image.bytes())));
}

TEST(Writer, PutsTheDigestOfNothingOnAWriteOnlyStream) {
    const TempDir dir;
    prepare({{8, "a", "", 2}});
    FILE* stream = fopen(dir.path("i").c_str(), "w");
    EXPECT_EQ(emit_dirindex(stream), 0);
    EXPECT_EQ(ferror(stream), 0);
    fclose(stream);
    EXPECT_EQ(qx_test::read_file(dir.path("i")).substr(16, 4), "\xD4\x1D\x8C\xD9");
}

struct Cookie {
    std::string bytes;
    off64_t position = 0;
};

ssize_t fail_to_read(void*, char*, size_t) {
    errno = EIO;
    return -1;
}

ssize_t cookie_write(void* cookie, const char* from, size_t size) {
    auto& file = *static_cast<Cookie*>(cookie);
    const auto position = static_cast<size_t>(file.position);
    file.bytes.resize(std::max(file.bytes.size(), position + size));
    file.bytes.replace(position, size, from, size);
    file.position += static_cast<off64_t>(size);
    return static_cast<ssize_t>(size);
}

int cookie_seek(void* cookie, off64_t* offset, int whence) {
    auto& file = *static_cast<Cookie*>(cookie);
    const off64_t end = static_cast<off64_t>(file.bytes.size());
    file.position = *offset + (whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.position : end);
    *offset = file.position;
    return 0;
}

TEST(Writer, LeavesTheChecksumZeroWhenReadingBackFails) {
    prepare({{8, "a", "", 2}});
    Cookie cookie;
    FILE* stream = fopencookie(&cookie, "w+", {fail_to_read, cookie_write, cookie_seek, nullptr});
    current_path[0] = '\0';
    int result = -1;
    const auto output = captured([&] {
        const DebugLevel level(2);
        result = emit_dirindex(stream);
    });
    fclose(stream);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(output.err, "Error: read '': Input/output error\n");
    EXPECT_EQ(cookie.bytes.substr(16, 4), std::string(4, '\0'));
    EXPECT_EQ(cookie.bytes.size(), 24u + 20);
}

TEST(Writer, FailsWhenTheDeviceIsFull) {
    FILE* stream = fopen("/dev/full", "w");
    if (stream == nullptr) {
        GTEST_SKIP() << "needs /dev/full";
    }
    prepare({{8, "a", "", 2}});
    EXPECT_EQ(emit_dirindex(stream), -1);
    EXPECT_EQ(errno, ENOSPC);
    fclose(stream);
}

TEST(Writer, RefusesARecordThatOffsetsCannotReach) {
    const TempDir dir;
    prepare({{8, "a", "", 2}});
    FILE* stream = fopen(dir.path("i").c_str(), "w+");
    ASSERT_EQ(fseeko(stream, off_t{UINT32_MAX} - 4, SEEK_SET), 0);
    EXPECT_EQ(emit_direntries(stream), -1);
    EXPECT_EQ(errno, EFBIG);
    fclose(stream);
    EXPECT_EQ(qx_test::read_file(dir.path("i")), "");
    clean_memory();
}

TEST(Writer, CutsOffWhatStoodBehindTheLastRecord) {
    const TempDir dir;
    const std::string path = dir.write("i", std::string(9000, 'x'));
    prepare({{8, "a", "", 2}});
    FILE* stream = fopen(path.c_str(), "r+");
    EXPECT_EQ(emit_dirindex(stream), 0);
    fclose(stream);
    EXPECT_EQ(qx_test::read_file(path).size(), 24u + 20);
}

TEST(Writer, KeepsLargeIndexesWhole) {
    std::vector<Entry> entries;
    for (int i = 0; i < 30000; ++i) {
        entries.push_back({8, "entry-" + std::to_string(i), "////d" + std::to_string(i % 7), 3});
    }
    const IndexImage image = write_index(entries);
    const qx_test::Checked checked = qx_test::check(image, 2);
    EXPECT_EQ(checked.result, 0);
    EXPECT_EQ(tot, 30000u);
    EXPECT_EQ(image.bytes().substr(16, 4), md5_start(zero_checksum(image.bytes())));
    clean_memory();
}

TEST(Writer, NoRecordOfALargeIndexCrossesABlock) {
    std::vector<Entry> entries;
    for (int i = 0; i < 3000; ++i) {
        entries.push_back({8, std::string(1 + i % 200, 'n') + std::to_string(i), "", 2});
    }
    const IndexImage image = write_index(entries);
    size_t at = image.get32(4);
    for (; at < image.size(); at += image.get32(at + 4)) {
        const size_t size = 16 + ((image.get16(at + 2) + 4u) & ~3u);
        EXPECT_EQ(at / 4096, (at + size - 1) / 4096);
    }
    EXPECT_EQ(at, image.size());
}

TEST(Writer, KeepsTheOrderOfTheListInEveryBucket) {
    // More buckets than are followed at a time, with chains of unequal length.
    constexpr uint32_t kBuckets = 71;
    std::vector<Entry> entries;
    std::vector<std::vector<std::string>> expected(kBuckets);
    for (int i = 0; i < 900; ++i) {
        const std::string name = "n" + std::to_string(i % 2 == 0 ? i : i * i);
        const uint32_t hash = dirindex::name_hash(name.data(), name.size());
        // Every third bucket stays empty.
        if (hash % kBuckets % 3 != 0) {
            entries.push_back({8, name, "////d" + std::to_string(i % 5), 3});
            expected[hash % kBuckets].push_back(name);
        }
    }
    const IndexImage image = written_with_buckets(kBuckets, entries);
    for (uint32_t i = 0; i < kBuckets; ++i) {
        EXPECT_EQ(names_of_bucket(image, i), expected[i]) << "bucket " << i;
    }
    EXPECT_EQ(emitted, entries.size());
}

TEST(Writer, NotesPlacesAndFlagsInTheEntries) {
    prepare({{8, "a", "////t", 3}, {8, "b", "////t", 5}, {8, "c", "", 6}});
    const TempDir dir;
    FILE* stream = fopen(dir.path("i").c_str(), "w+");
    EXPECT_EQ(emit_dirindex(stream), 0);
    fclose(stream);
    const dent* first = ht[0].head;
    EXPECT_EQ(first->link, 24u + 16 + 4);
    EXPECT_EQ(first->poolstr->offset, first->link);
    EXPECT_EQ(first->next->link, first->link);
    EXPECT_EQ(first->next->next->link, 0u);
    EXPECT_EQ(first->flags, 0);
    EXPECT_EQ(ht[0].tail->flags, 3);
    EXPECT_EQ(ht_emit[0], 24u);
    clean_memory();
}

TEST(Writer, WritesZerosBehindANameShorterThanItsLength) {
    fill_list({{8, "abcdefgh", "", 2}});
    dlist->name[2] = '\0';
    const IndexImage image = written(1);
    EXPECT_EQ(image.bytes().substr(40, 12), std::string("ab") + std::string(10, '\0'));
    EXPECT_EQ(image.get16(24 + 2), 8);
}

TEST(Writer, CountsWhatItEmitted) {
    write_index({{8, "a", "", 2}, {8, "b", "", 2}});
    EXPECT_EQ(emitted, 2u);
}

}  // namespace
