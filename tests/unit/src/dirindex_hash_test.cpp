// The name hash through bucket placement, gethash against a signed reference, and file checksums.
#include <gtest/gtest.h>

#include <string>

#include "src/dirindex_model.h"
#include "tests/unit/src/index_support.h"

namespace {

using dirindex::name_hash;

// The shape of the published function, written with signed types throughout as the definition says.
uint32_t signed_reference(const std::string& data) {
    auto shr = [](int32_t v, int n) { return static_cast<uint32_t>(v >> n); };
    uint32_t v[3] = {0x9E3779B9, 0x9E3779B9, 0};
    auto mix = [&] {
        static const int right[3][3] = {{13, 8, 13}, {12, 16, 5}, {3, 10, 15}};
        for (const auto& shifts : right) {
            v[0] = (v[0] - v[1] - v[2]) ^ shr(static_cast<int32_t>(v[2]), shifts[0]);
            v[1] = (v[1] - v[2] - v[0]) ^ (v[0] << shifts[1]);
            v[2] = (v[2] - v[0] - v[1]) ^ shr(static_cast<int32_t>(v[1]), shifts[2]);
        }
    };
    size_t i = 0;
    for (; data.size() - i >= 12; i += 12) {
        for (size_t k = 0; k < 12; ++k) {
            v[k / 4] += static_cast<uint32_t>(static_cast<signed char>(data[i + k])) << (k % 4 * 8);
        }
        mix();
    }
    v[2] += static_cast<uint32_t>(data.size());
    for (size_t k = 0; i + k < data.size(); ++k) {
        const size_t position = k < 8 ? k : k + 1;
        v[position / 4] += static_cast<uint32_t>(static_cast<signed char>(data[i + k]))
                           << (position % 4 * 8);
    }
    mix();
    return v[2];
}

TEST(NameHash, OfNothingIsZero) {
    EXPECT_EQ(name_hash("", 0), 0u);
}

TEST(NameHash, TakesFourBytesAsOneLittleEndianWord) {
    EXPECT_EQ(name_hash("abcd", 4), 0x64636261u);
}

TEST(NameHash, ShiftsBothWaysBetweenWords) {
    EXPECT_EQ(name_hash("abcdefgh", 8), (0x64636261u << 4) ^ (0x64636261u >> 4) ^ 0x68676665u);
}

TEST(NameHash, ShiftsRightWithoutSign) {
    EXPECT_EQ(name_hash("\xff\xff\xff\xff"
                        "aaaa",
                        8),
              0xFFFFFFF0u ^ 0x0FFFFFFFu ^ 0x61616161u);
}

TEST(NameHash, TakesEachRemainingByteAlone) {
    EXPECT_EQ(name_hash("ab", 2), (0x61u << 4) ^ (0x61u >> 4) ^ 0x62u);
}

TEST(NameHash, ExtendsTheSignOfRemainingBytes) {
    EXPECT_EQ(name_hash("\x80", 1), 0xFFFFFF80u);
}

TEST(NameHash, ExtendsTheSignAtTheEndOfA255ByteName) {
    const std::string plain(252, 'a');
    const uint32_t words = name_hash(plain.c_str(), 252);
    uint32_t expected = words;
    for (int i = 0; i < 3; ++i) {
        expected = (expected << 4) ^ (expected >> 4) ^ 0xFFFFFFE9u;
    }
    EXPECT_EQ(name_hash((plain + "\xE9\xE9\xE9").c_str(), 255), expected);
}

TEST(NameHash, DoesNotTakeTheTerminator) {
    EXPECT_EQ(name_hash("abc", 3), name_hash("abcZ", 3));
}

TEST(GetHash, FollowsTheSignedFormForEveryTailLength) {
    std::string data;
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(gethash(data.data(), data.size()), signed_reference(data)) << i << " bytes";
        data += static_cast<char>(0x70 + 11 * i);
    }
}

TEST(GetHash, LeavesItsResultInTheModule) {
    const uint32_t result = gethash("leave", 5);
    EXPECT_EQ(gethash_result, result);
}

TEST(VerifyChecksum, IsZeroForTheDigestsFirstBytes) {
    EXPECT_EQ(verify_checksum("", 0, "\xD4\x1D\x8C\xD9"), 0);
    EXPECT_EQ(verify_checksum("abc", 3, "\x90\x01\x50\x98"), 0);
}

TEST(VerifyChecksum, ComparesAsMemoryDoes) {
    EXPECT_LT(verify_checksum("", 0, "\xD4\x1D\x8C\xDA"), 0);
    EXPECT_GT(verify_checksum("", 0, "\xD4\x1D\x8C\xD8"), 0);
    EXPECT_GT(verify_checksum("", 0, "\x01\xFF\xFF\xFF"), 0);
}

TEST(TypeStr, GivesTheTableOfCodes) {
    const std::vector<std::string> expected = {"0", "p", "c", "3",  "d", "5",  "b", "7",
                                               "-", "9", "l", "11", "s", "13", "w"};
    for (unsigned code = 0; code < expected.size(); ++code) {
        EXPECT_EQ(type_str(code), expected[code]);
    }
}

TEST(TypeStr, IsAQuestionMarkAboveTheTable) {
    EXPECT_STREQ(type_str(15), "?");
    EXPECT_STREQ(type_str(255), "?");
    EXPECT_STREQ(type_str(0xFFFFFFFF), "?");
}

}  // namespace
