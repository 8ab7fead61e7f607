// Copies of an index with another cache identifier, and the list of its template-backed entries.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/index_image.h"
#include "tests/unit/src/checker_fixture.h"

namespace {

using qx_test::IndexImage;
using testing::ElementsAre;

constexpr uint8_t kLast = 3;

class CopyTest : public CheckerTest {
protected:
    // An index with one bucket and the given entries, each "name link"; the link may be missing.
    std::string make_index(const std::vector<std::pair<std::string, std::string>>& entries,
                           const std::string& name = "index") {
        IndexImage image;
        for (size_t i = 0; i < entries.size(); ++i) {
            const bool last = i + 1 == entries.size();
            const uint32_t offset = image.add(i == 0 ? 4 : 8, entries[i].first, last ? kLast : 0,
                                              entries[i].second, static_cast<uint32_t>(10 + i));
            if (i == 0) {
                image.set_slot(0, offset);
            }
        }
        image.fix_checksum();
        return area_.files().write(name, image.bytes());
    }
    static std::vector<std::string> texts(char** items) {
        std::vector<std::string> result;
        for (char** item = items; item != nullptr && *item != nullptr; ++item) {
            result.emplace_back(*item);
            free(*item);
        }
        free(items);
        return result;
    }
    int clone(const std::string& source, const char* old_id, const char* new_id) {
        return clone_dirindex(source.c_str(), target_.c_str(), old_id, new_id);
    }
    static int correct(std::string link, const char* old_id, const char* new_id,
                       std::string* changed) {
        const int result = correct_magic_uuid(link.data(), old_id, new_id);
        *changed = link;
        return result;
    }

    std::string target_ = area_.files().path("target");
};

// ---- correct_magic_uuid

TEST_F(CopyTest, UuidIsOverwrittenBehindTheCacheDirectory) {
    std::string link;
    EXPECT_EQ(1, correct("////vc/OLD/lib", "OLD", "new", &link));
    EXPECT_EQ("////vc/new/lib", link);
    EXPECT_EQ(1, correct("////vc///OLD", "OLD", "new", &link));
    EXPECT_EQ("////vc///new", link);
    // The identifier need not be a whole component.
    EXPECT_EQ(1, correct("////vc/OLDER", "OLD", "new", &link));
    EXPECT_EQ("////vc/newER", link);
}

TEST_F(CopyTest, OtherLinksAreLeft) {
    std::string link;
    for (const std::string other : {"////vcOLD/lib", "////vc", "////vc/", "////vc/OTH/OLD",
                                    "////os/OLD", "///vc/OLD", "", "////vx/OLD"}) {
        EXPECT_EQ(0, correct(other, "OLD", "new", &link)) << other;
        EXPECT_EQ(other, link);
    }
}

TEST_F(CopyTest, IdentifiersOfDifferentLengthAreReportedAndChangeNothing) {
    std::string link;
    EXPECT_EQ("Error: Source and destination UUID length are not equal\n",
              said(2, [&] { return correct("////vc/OLD/lib", "OLD", "newer", &link); }));
    EXPECT_EQ(0, result_);
    EXPECT_EQ("////vc/OLD/lib", link);
}

TEST_F(CopyTest, TheChangeIsShownAtLevel4) {
    std::string link;
    const auto action = [&] { return correct("////vc/OLD", "OLD", "new", &link); };
    EXPECT_EQ("cache link '////vc/OLD'\nchanged to cache link '////vc/new'\n", said(4, action));
    EXPECT_EQ("", said(3, action));
    EXPECT_EQ("", said(4, [&] { return correct("////os/OLD", "OLD", "new", &link); }));
}

// ---- clone_dirindex, correct_dirindex

TEST_F(CopyTest, WithoutBothIdentifiersTheFileIsCopiedByteForByte) {
    const std::string source = area_.files().write("source", "any bytes at all");
    EXPECT_EQ(0, clone(source, nullptr, nullptr));
    EXPECT_EQ("any bytes at all", qx_test::read_file(target_));
    EXPECT_EQ(0, clone(source, "OLD", nullptr));
    EXPECT_EQ(0, clone(source, nullptr, "new"));
}

TEST_F(CopyTest, ACopyThatFailsGivesMinus1AndAMessage) {
    EXPECT_THAT(said(2, [&] { return clone(area_.dir(), nullptr, nullptr); }),
                testing::StartsWith("Error: can't copy dirindex file '" + area_.dir() + "/" +
                                    area_.dir() + "'"));
    EXPECT_EQ(-1, result_);
}

TEST_F(CopyTest, WithBothIdentifiersTheLinksOfTheCacheAreRewritten) {
    const std::string source =
        make_index({{"d", ""}, {"a", "////vc/OLD/lib"}, {"b", "////os/OLD"}, {"c", "////vc/OLD"}});
    EXPECT_EQ(0, clone(source, "OLD", "new"));
    EXPECT_THAT(texts(read_dirindex(target_.c_str())),
                ElementsAre("////vc/new/lib/a", "////os/OLD/b", "////vc/new/c"));
}

TEST_F(CopyTest, ARewrittenIndexKeepsTypesAndTagsAndHasARightChecksum) {
    const std::string source = make_index({{"d", ""}, {"a", "////vc/OLD/lib"}});
    EXPECT_EQ(0, clone(source, "OLD", "new"));
    const IndexImage image = IndexImage::from_bytes(qx_test::read_file(target_));
    EXPECT_EQ(1U, image.get32(8));
    EXPECT_EQ(10U, image.get32(image.get32(4) + 8));
    EXPECT_EQ(4, image.byte(image.get32(4)));
    const std::string checksum = image.bytes().substr(16, 4);
    EXPECT_EQ(checksum, IndexImage(image).fix_checksum().bytes().substr(16, 4));
}

TEST_F(CopyTest, RecordsBehindTheOneWithTheEofFlagAreNotCopied) {
    IndexImage image;
    const uint32_t first = image.add(8, "a", kLast, "////os", 10);
    image.set_slot(0, first);
    image.add(8, "b", kLast, "////os2", 12);
    image.fix_checksum();
    const std::string source = area_.files().write("source", image.bytes());
    EXPECT_THAT(texts(read_dirindex(source.c_str())), ElementsAre("////os/a"));
    EXPECT_EQ(0, clone(source, "OLD", "new"));
    EXPECT_THAT(texts(read_dirindex(target_.c_str())), ElementsAre("////os/a"));
}

TEST_F(CopyTest, WithoutEofFlagTheRecordsGoOnToTheEndOfTheFile) {
    IndexImage image;
    image.set_slot(0, image.add(8, "a", 0, "////vc/OLD", 10));
    image.add(8, "b", 1, "////os2", 12);
    const std::string source = area_.files().write("source", image.fix_checksum().bytes());
    EXPECT_THAT(texts(read_dirindex(source.c_str())), ElementsAre("////vc/OLD/a", "////os2/b"));
    EXPECT_EQ(0, clone(source, "OLD", "new"));
    EXPECT_THAT(texts(read_dirindex(target_.c_str())), ElementsAre("////vc/new/a", "////os2/b"));
}

TEST_F(CopyTest, AnIndexThatItsCheckRefusesIsNotCorrected) {
    EXPECT_EQ(-1, clone(area_.files().write("bad", std::string(100, 'x')), "OLD", "new"));
    EXPECT_FALSE(std::filesystem::exists(target_));
    IndexImage empty;
    EXPECT_EQ(-1, clone(area_.files().write("empty", empty.bytes()), "OLD", "new"));
}

TEST_F(CopyTest, ASourceThatCannotBeMappedGivesMinus1) {
    const std::string path = area_.files().path("missing");
    EXPECT_THAT(said(2, [&] { return clone(path, "OLD", "new"); }),
                testing::EndsWith("Error: can't mmap dirindex file '" + area_.dir() + "/" + path +
                                  "': No such file or directory\n"));
    EXPECT_EQ(-1, result_);
}

TEST_F(CopyTest, ATargetThatCannotBeOpenedGivesMinus1AndAMessage) {
    const std::string source = make_index({{"d", ""}});
    EXPECT_EQ("Error: can't open '" + area_.dir() + "/none/t': No such file or directory\n",
              said(2, [&] { return clone_dirindex(source.c_str(), "none/t", "OLD", "new"); }));
    EXPECT_EQ(-1, result_);
    EXPECT_EQ("Error: can't write '" + area_.dir() + "//dev/full': No space left on device\n",
              said(2, [&] { return clone_dirindex(source.c_str(), "/dev/full", "OLD", "new"); }));
    EXPECT_EQ(-1, result_);
}

TEST_F(CopyTest, ATargetThatIsALinkIsRefused) {
    const std::string source = make_index({{"d", ""}});
    const std::string victim = area_.files().write("victim", "mine");
    area_.files().make_link("target", victim);
    EXPECT_EQ(-1, clone(source, "OLD", "new"));
    EXPECT_EQ("mine", qx_test::read_file(victim));
}

TEST_F(CopyTest, CorrectingChoosesTheBucketCountAnew) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (int i = 0; i < 20; ++i) {
        entries.emplace_back("n" + std::to_string(i), "");
    }
    EXPECT_EQ(0, clone(make_index(entries), "OLD", "new"));
    EXPECT_EQ(251U, IndexImage::from_bytes(qx_test::read_file(target_)).get32(12));
    EXPECT_EQ(20U, tot);
}

// ---- read_dirindex

TEST_F(CopyTest, ReadGivesOneTextForEachLinkedRecordInFileOrder) {
    const std::string path = make_index({{"d", ""}, {"b", "////os/2"}, {"a", "////os/1"}});
    EXPECT_THAT(texts(read_dirindex(path.c_str())), ElementsAre("////os/2/b", "////os/1/a"));
}

TEST_F(CopyTest, ReadOfAnIndexWithoutLinksGivesOnlyTheTerminator) {
    char** items = read_dirindex(make_index({{"d", ""}}).c_str());
    ASSERT_NE(nullptr, items);
    EXPECT_EQ(nullptr, items[0]);
    free(items);
}

TEST_F(CopyTest, ReadOfAnIndexThatIsRefusedGivesNull) {
    EXPECT_EQ(nullptr, read_dirindex(area_.files().write("bad", std::string(64, 'x')).c_str()));
    EXPECT_EQ(nullptr, read_dirindex(area_.files().write("none", IndexImage().bytes()).c_str()));
}

TEST_F(CopyTest, ALinkTextThatNoRecordCouldCarryIsRefused) {
    // A record that no bucket reaches may be of any length; many of them could share one such text.
    IndexImage image;
    image.add(8, "a", kLast, "////" + std::string(4096, 'x'), 10);
    const std::string path = area_.files().write("long", image.bytes());
    EXPECT_EQ("Warning: Truncated... '" + path + "'\n",
              said(2, [&] { return read_dirindex(path.c_str()) == nullptr; }));
    EXPECT_EQ(1, result_);
    EXPECT_EQ("Warning: Truncated... '" + area_.dir() + "/" + path + "'\n",
              said(2, [&] { return clone(path, "OLD", "new"); }));
    EXPECT_EQ(-1, result_);
    EXPECT_FALSE(std::filesystem::exists(target_));
}

TEST_F(CopyTest, AMappingThatStaysIsReportedAndTheItemsAreGivenAllTheSame) {
    const std::string path = make_index({{"d", ""}, {"a", "////os"}});
    const auto result = said_while_refused(
        {SYS_munmap}, [&] { return static_cast<int>(texts(read_dirindex(path.c_str())).size()); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: can't munmap dirindex file '" + path + "': Input/output error\n1",
              result.text);
}

TEST_F(CopyTest, AMappingThatStaysDoesNotSpoilACorrectedCopy) {
    const std::string path = make_index({{"d", ""}, {"a", "////vc/OLD"}});
    const auto result = said_while_refused({SYS_munmap}, [&] { return clone(path, "OLD", "new"); });
    if (!result.ran) {
        GTEST_SKIP() << result.text;
    }
    EXPECT_EQ("Error: can't munmap dirindex file '" + area_.dir() + "/" + path +
                  "': Input/output error\n0",
              result.text);
    EXPECT_THAT(texts(read_dirindex(target_.c_str())), ElementsAre("////vc/new/a"));
}

TEST_F(CopyTest, ReadOfAMissingFileGivesNullAndAMessage) {
    const std::string path = area_.files().path("missing");
    const std::string text = said(2, [&] { return read_dirindex(path.c_str()) == nullptr; });
    EXPECT_EQ(1, result_);
    EXPECT_THAT(text, testing::EndsWith("Error: can't mmap dirindex file '" + path +
                                        "': No such file or directory\n"));
}

}  // namespace
