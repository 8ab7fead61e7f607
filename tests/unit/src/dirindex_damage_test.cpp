// Every structural fault: result -2, its message from level 2 on, silence below, nothing kept or
// written, and never a byte read outside the file.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>

#include "tests/support/temp_dir.h"
#include "tests/unit/src/index_support.h"

namespace {

using qx_test::check;
using qx_test::Checked;
using qx_test::IndexImage;

IndexImage sound() {
    IndexImage image(1);
    image.set_slot(0, image.add(8, "a", 0));
    image.add(8, "b", 3, "////t");
    image.fix_checksum();
    return image;
}

struct Damage {
    std::string name;
    IndexImage image;
    std::string message;
};

std::vector<Damage> damages() {
    const std::string nowhere = "FATAL: hash points to nowhere\n";
    const std::string truncated = "FATAL: truncated...\n";
    const std::string reclen = "FATAL: bad reclen\n";
    const std::string forward = "FATAL: link points forward\n";
    const auto end = static_cast<uint32_t>(sound().size());
    IndexImage crossing(2);
    crossing.set_slot(0, crossing.add(8, "a", 0));
    crossing.set_slot(1, crossing.add(8, "b", 3));
    IndexImage empty(1);
    IndexImage empty_with_slot(1);
    // The slot takes the header for a record, whose visited mark lands in the header's start.
    empty_with_slot.add(8, "a", 3);
    empty_with_slot.set_start(0).set_slot(0, 4).set32(8, 20);
    IndexImage long_name(1);
    long_name.set_slot(0, long_name.add(8, std::string(257, 'n'), 3));
    IndexImage padded_past_end = sound();
    padded_past_end.set_namelen(44, 40);
    IndexImage open_name = sound();
    open_name.truncate(44 + 20).set_reclen(44, 20).set_link(44, 0).set32(60, 0x62626262);
    // What no bucket reaches is seen by the linear walk only.
    IndexImage unreached = sound();
    unreached.set_flags(24, 1);
    IndexImage unreached_short = unreached;
    unreached_short.set_reclen(44, 15);
    IndexImage unreached_long = unreached;
    unreached_long.set_reclen(44, 0x10000);
    IndexImage unreached_head = unreached;
    unreached_head.truncate(44 + 8);
    IndexImage unreached_name = unreached;
    unreached_name.truncate(44 + 20).set_reclen(44, 20).set_link(44, 0).set32(60, 0x62626262);
    IndexImage unreached_link = unreached;
    unreached_link.set_link(44, 0xFFFFFFF0);
    return {
        {"EmptyFile", sound().truncate(0), "FATAL: wrong signature 'index' 00000000\n"},
        {"ThreeBytes", sound().truncate(3), "FATAL: wrong signature 'index' 002de119\n"},
        {"ShortHeader", sound().truncate(19), "FATAL: wrong signature 'index' 402de119\n"},
        {"Signature", sound().set32(0, 0x402DE118), "FATAL: wrong signature 'index' 402de118\n"},
        {"ZeroPrime", sound().set_prime(0), "FATAL: zero hash prime 'index'\n"},
        {"StartAtEnd", sound().set_start(end), "FATAL: start index is after EOF\n"},
        {"StartFarAway", sound().set_start(0xFFFFFFFF), "FATAL: start index is after EOF\n"},
        {"StartInTable", sound().set_start(23), "FATAL: start points inside hash table\n"},
        {"HugePrime", sound().set_prime(0x40000001), "FATAL: start points inside hash table\n"},
        {"SlotBeforeStart", sound().set_slot(0, 23), nowhere},
        {"SlotAtEnd", sound().set_slot(0, end), nowhere},
        {"ChainPastEnd", sound().set_flags(44, 2), nowhere},
        {"SlotNearEnd", sound().set_slot(0, end - 15), "FATAL: truncated dentry\n"},
        {"ReservedFlag", sound().set_flags(24, 4), "FATAL: hash buckets cross\n"},
        {"VisitedFlag", sound().set_flags(24, 0x80), "FATAL: hash buckets cross\n"},
        {"CrossingBuckets", crossing, "FATAL: hash buckets cross\n"},
        {"ReclenBelow16", sound().set_reclen(24, 15), reclen},
        {"ReclenZero", sound().set_reclen(24, 0), reclen},
        {"ReclenOver4096", sound().append(std::string(5000, '\0')).set_reclen(24, 4097), reclen},
        {"ReclenPastEnd", sound().set_reclen(44, 4096), reclen},
        {"Namelen257", long_name, "FATAL: bad namelen 257 for " + std::string(257, 'n') + "\n"},
        {"NamePastEnd", padded_past_end, "FATAL: bad namelen 40 for b\n"},
        {"LinkAtStart", sound().set_link(44, 24), "FATAL: link 24 points to hash\n"},
        {"LinkInHeader", sound().set_link(44, 5), "FATAL: link 5 points to hash\n"},
        {"LinkBehindRecord", sound().append(std::string(8, '\0')).set_link(24, 45), forward},
        {"LinkAtEnd", sound().set_link(44, end), forward},
        {"LinkLengthWordLeaves", sound().set_link(44, end - 2), forward},
        {"LinkTextOpen",
         sound().truncate(end - 4).append("xxxx").append("xxxx").set_reclen(44, end + 4 - 44),
         forward},
        {"NoStart", empty, truncated},
        {"NoStartButSlots", empty_with_slot, truncated},
        {"NoStartAndTablePastEnd", IndexImage(1).set_prime(0xFFFFFFFF), truncated},
        {"NameWithoutEnd", open_name, truncated},
        {"UnreachedReclenBelow16", unreached_short, truncated},
        {"UnreachedReclenPastEnd", unreached_long, truncated},
        {"UnreachedHeadPastEnd", unreached_head, truncated},
        {"UnreachedNameWithoutEnd", unreached_name, truncated},
        {"UnreachedLinkPastEnd", unreached_link, forward},
    };
}

class DamagedIndex : public testing::TestWithParam<Damage> {};

TEST_P(DamagedIndex, IsRefusedWithItsMessageAtLevelTwo) {
    const Checked checked = check(GetParam().image, 2);
    EXPECT_EQ(checked.result, -2);
    EXPECT_EQ(checked.output.err, GetParam().message);
    EXPECT_EQ(checked.output.out, "");
}

TEST_P(DamagedIndex, IsRefusedInSilenceBelow) {
    const Checked checked = check(GetParam().image, 1);
    EXPECT_EQ(checked.result, -2);
    EXPECT_EQ(checked.output.err + checked.output.out, "");
}

TEST_P(DamagedIndex, LeavesNoEntriesAndWritesNothing) {
    const qx_test::TempDir dir;
    const std::string out = dir.path("out");
    EXPECT_EQ(check(GetParam().image, 0, out.c_str(), dir.path().c_str()).result, -2);
    EXPECT_EQ(dlist, nullptr);
    EXPECT_NE(access(out.c_str(), F_OK), 0);
}

// A file that ends where its page ends, before a page that must not be touched.
class GuardedCopy {
public:
    explicit GuardedCopy(const std::string& bytes) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t pages = (bytes.size() + page - 1) / page * page;
        length_ = pages + page;
        map_ = static_cast<char*>(
            mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(map_ + pages, page, PROT_NONE);
        base_ = map_ + pages - bytes.size();
        std::memcpy(base_, bytes.data(), bytes.size());
    }
    ~GuardedCopy() { munmap(map_, length_); }
    GuardedCopy(const GuardedCopy&) = delete;
    GuardedCopy& operator=(const GuardedCopy&) = delete;
    void* base() { return base_; }

private:
    size_t length_;
    char* map_;
    char* base_;
};

TEST_P(DamagedIndex, IsNotReadBeyondItsEnd) {
    GuardedCopy copy(GetParam().image.bytes());
    EXPECT_EQ(fsck_in_core("index", copy.base(), GetParam().image.size(), nullptr, nullptr), -2);
}

INSTANTIATE_TEST_SUITE_P(Check, DamagedIndex, testing::ValuesIn(damages()),
                         [](const auto& info) { return info.param.name; });

TEST(DamagedIndexes, EveryTruncationIsRefusedWithinBounds) {
    const std::string bytes = sound().bytes();
    for (size_t size = 0; size < bytes.size(); ++size) {
        GuardedCopy copy(bytes.substr(0, size));
        EXPECT_EQ(fsck_in_core("index", copy.base(), size, nullptr, nullptr), -2) << size;
    }
}

TEST(DamagedIndexes, RandomEditsStayWithinBounds) {
    std::mt19937 random(20261120);
    for (int round = 0; round < 20000; ++round) {
        IndexImage image = sound();
        for (int edits = static_cast<int>(random() % 4); edits >= 0; --edits) {
            image.set_byte(random() % image.size(), static_cast<uint8_t>(random()));
        }
        GuardedCopy copy(image.bytes());
        const int result = fsck_in_core("index", copy.base(), image.size(), nullptr, "/");
        EXPECT_TRUE(result == -2 || result == 0 || result == 1);
    }
    clean_memory();
}

TEST(DamagedIndexes, OverlappingLinkTextsDoNotFillTheMemory) {
    // A long text in a record that no bucket reaches, and many records that begin it at another
    // place.
    IndexImage image(1);
    const uint32_t holder = image.add(8, "h", 1, std::string(1 << 20, 'x'));
    const uint32_t text = image.get32(holder + 12);
    uint32_t last = 0;
    for (uint32_t i = 0; i < 4000; ++i) {
        last = image.add(8, "r", 0);
        image.set_link(last, text + i);
        if (i == 0) {
            image.set_slot(0, last);
        }
    }
    image.set_flags(last, 3);
    EXPECT_EQ(check(image, 2).result, -2);
}

}  // namespace
