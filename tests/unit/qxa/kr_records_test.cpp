// KR records: recognition, names, options of the library, records of what it lists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "qxa/plugins/QXAPkg/QXAKRPackages.h"
#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string dotted(const char* source, std::string target = "before") {
    assignDottedName(target, source);
    return target;
}

/// A record of the library in the memory of a test. What a listing must not read is poisoned.
class Entry {
public:
    explicit Entry(bool os) { m_entry = {fakes::poison(), os ? 7U : 0U, &info}; }

    QXAPackageQXTemplate record(bool showSummary = true, bool status = false) const {
        return makeKRTemplate(m_entry, "base", showSummary, status);
    }

    tmpl_info info = fakes::poisoned({}, fakes::TemplateReader::kListing);

private:
    templateListEntry m_entry{};
};

char kName[] = "name";
char kDottedName[] = ".name";
char kYes[] = "yes";
char kNo[] = "no";
char kCapitalYes[] = "Yes";
char kText[] = "text";

// --- recognition

TEST(KRRecord, isATemplateRecordOfAnotherTechnologyThanTheStandardOne) {
    EXPECT_TRUE(isKRTemplate(osTemplate(".a")));
    EXPECT_TRUE(isKRTemplate(appTemplate(".a")));
    EXPECT_FALSE(isKRTemplate(standard("a")));
    EXPECT_FALSE(isKRTemplate(rpm("a")));
    EXPECT_FALSE(isKRTemplate(nullptr));
}

TEST(KRRecord, isFoundByItsClassAlone) {
    EXPECT_NE(nullptr, asKRTemplate(osTemplate(".a")));
    EXPECT_NE(nullptr, asKRTemplate(standard("a")));
    EXPECT_EQ(nullptr, asKRTemplate(deb("a")));
    EXPECT_EQ(nullptr, asKRTemplate(nullptr));
}

TEST(KRRecord, isOfAnOsTemplateOrOfAnApplicationTemplate) {
    EXPECT_TRUE(isKROsTemplate(osTemplate(".a")));
    EXPECT_FALSE(isKROsTemplate(appTemplate(".a")));
    EXPECT_TRUE(isKRApplicationTemplate(appTemplate(".a")));
    EXPECT_FALSE(isKRApplicationTemplate(osTemplate(".a")));
    auto standardOs = recordOf<QXAPackageQXTemplateStd>("a");
    standardOs->isOsTemplate = true;
    EXPECT_FALSE(isKROsTemplate(standardOs));
    EXPECT_FALSE(isKRApplicationTemplate(standard("a")));
    EXPECT_FALSE(isKROsTemplate(rpm("a")));
    EXPECT_FALSE(isKRApplicationTemplate(rpm("a")));
}

TEST(KRRecord, isSelectedAmongOthersInOrder) {
    const auto selected =
        selectKRPackages({rpm("a"), standard("b"), osTemplate(".c"), standard("d"), deb("e")});
    EXPECT_THAT(textsOf(selected), ElementsAre("a", ".c", "e"));
}

TEST(KRRecord, startsWithoutFlagsAndTexts) {
    const QXAPackageQXTemplate record;
    EXPECT_FALSE(record.isOsTemplate);
    EXPECT_FALSE(record.versionFlag);
    EXPECT_FALSE(record.status);
    EXPECT_EQ("", record.detail);
    EXPECT_THAT(record.members, IsEmpty());
    EXPECT_THAT(record.getTechnologyList(), IsEmpty());
}

TEST(KRRecord, isCopiedWithEveryField) {
    QXAPackageQXTemplate record;
    record.name = ".a";
    record.isOsTemplate = record.versionFlag = record.status = true;
    record.detail = "detail";
    record.members = {rpm("p")};
    record.setTechnologyList({"x86"});
    const QXAPackageQXTemplate copy(record);
    EXPECT_EQ(".a", copy.name);
    EXPECT_TRUE(copy.isOsTemplate && copy.versionFlag && copy.status);
    EXPECT_EQ("detail", copy.detail);
    EXPECT_THAT(textsOf(copy.members), ElementsAre("p"));
    EXPECT_THAT(copy.getTechnologyList(), ElementsAre("x86"));
}

// --- names

TEST(DottedName, getsADotUnlessItHasOne) {
    EXPECT_EQ(".a", dotted("a"));
    EXPECT_EQ(".a", dotted(".a"));
    EXPECT_EQ("..a", dotted("..a"));
    EXPECT_EQ(".", dotted("."));
}

TEST(DottedName, ofNothingLeavesTheTarget) {
    EXPECT_EQ("before", dotted(nullptr));
    EXPECT_EQ("before", dotted(""));
}

TEST(OsName, isDottedAndEmptyWithoutASource) {
    QXL::QXLPackage record;
    assignOsName(record, "base");
    EXPECT_EQ(".base", osNameOf(record));
    assignOsName(record, "");
    EXPECT_EQ("", record.os.osName);
}

TEST(OsName, thatIsUnsetReadsAsAnEmptyText) {
    EXPECT_EQ("", osNameOf(QXL::QXLPackage()));
}

// --- options of the library

class QxttOptions : public KRNode {
protected:
    static std::uint32_t word(const qxtt_options& options, std::size_t offset) {
        std::uint32_t value = 0;
        std::memcpy(&value, reinterpret_cast<const char*>(&options) + offset, sizeof value);
        return value;
    }

    qxtt_options of(unsigned flags) {
        qxtt_options options;
        initQxttOptions(QXAPackageListOptions(listOptions({}, flags), true, false), options);
        return options;
    }
};

TEST_F(QxttOptions, areOneHundredAndTwentyBytes) {
    EXPECT_EQ(120U, sizeof(qxtt_options));
}

TEST_F(QxttOptions, ofAListingAreTheDefaultsWithThreeWordsWritten) {
    const auto options = of(0);
    const auto untouched = word(options, 0);
    EXPECT_NE(0U, untouched);
    for (std::size_t offset = 0; offset < sizeof options; offset += sizeof(std::uint32_t)) {
        const std::uint32_t expected = offset == 4     ? 0
                                       : offset == 8   ? 1
                                       : offset == 100 ? 0x80011
                                                       : untouched;
        EXPECT_EQ(expected, word(options, offset)) << "offset " << offset;
    }
    EXPECT_THAT(m_qxtt.calls, ElementsAre("qxtt_set_default_options"));
}

TEST_F(QxttOptions, ofAListingAskForSummariesWhenTheListOptionsDo) {
    EXPECT_EQ(0x80051U, word(of(16), 100));
    EXPECT_EQ(0x80011U, word(of(32), 100));
}

TEST_F(QxttOptions, ofOneRecordAreNothingButTheMask) {
    const auto options = makeQueryOptions(0xdd);
    for (std::size_t offset = 0; offset < sizeof options; offset += sizeof(std::uint32_t)) {
        const std::uint32_t expected = offset == 8 ? 1 : offset == 100 ? 0xdd : 0;
        EXPECT_EQ(expected, word(options, offset)) << "offset " << offset;
    }
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(QxttOptions, areWrittenAndReadByByteOffset) {
    qxtt_options options{};
    setQxttOption(options, 28, 5);
    EXPECT_EQ(5U, word(options, 28));
    EXPECT_EQ(5U, qxttOption(options, 28));
}

// --- records of list entries

TEST(TemplateOfAnEntry, ofAnOsTemplateHasNoOsName) {
    Entry entry(true);
    entry.info.name = kName;
    const auto record = entry.record();
    EXPECT_EQ(".name", record.name);
    EXPECT_TRUE(record.isOsTemplate);
    EXPECT_FALSE(record.os.osName.has_value());
    EXPECT_EQ("Linux", record.os.platform);
}

TEST(TemplateOfAnEntry, ofAnApplicationTemplateBelongsToTheGivenOsTemplate) {
    Entry entry(false);
    entry.info.name = kDottedName;
    const auto record = entry.record();
    EXPECT_EQ(".name", record.name);
    EXPECT_FALSE(record.isOsTemplate);
    EXPECT_EQ(".base", record.os.osName);
}

TEST(TemplateOfAnEntry, takesTheFlagFromTheTextYesAlone) {
    Entry entry(true);
    EXPECT_FALSE(entry.record().versionFlag);
    for (auto* text : {kNo, kCapitalYes}) {
        entry.info.cached = text;
        EXPECT_FALSE(entry.record().versionFlag) << text;
    }
    entry.info.cached = kYes;
    EXPECT_TRUE(entry.record().versionFlag);
}

TEST(TemplateOfAnEntry, carriesTheGivenStatus) {
    const Entry entry(true);
    EXPECT_FALSE(entry.record(true, false).status);
    EXPECT_TRUE(entry.record(true, true).status);
}

TEST(TemplateOfAnEntry, hasASummaryOnlyWhenItIsWanted) {
    Entry entry(true);
    entry.info.summary = kText;
    EXPECT_EQ("text", entry.record(true).summary);
    EXPECT_EQ("", entry.record(false).summary);
}

TEST(TemplateOfAnEntry, readsNothingBeyondTheFieldsOfAListing) {
    for (const bool os : {true, false}) {
        Entry entry(os);
        entry.info.architecture = kText;
        const auto record = entry.record();
        EXPECT_EQ("text", record.architecture);
        EXPECT_EQ("", record.name);
        EXPECT_EQ("", record.version);
        EXPECT_EQ("", record.summary);
        EXPECT_EQ("", record.description);
        EXPECT_EQ("", record.detail);
        EXPECT_EQ(os ? "" : ".base", osNameOf(record));
        EXPECT_FALSE(record.os.osVersion.has_value());
        EXPECT_THAT(record.members, IsEmpty());
        EXPECT_THAT(record.getTechnologyList(), IsEmpty());
    }
}

TEST(TemplateOfAnEntry, ofNullTextsIsEmpty) {
    const auto record = Entry(false).record();
    EXPECT_EQ("", record.name);
    EXPECT_EQ("", record.architecture);
    EXPECT_EQ("", record.summary);
}

// --- records of packages

TEST(PackagesOfEntries, areRpmRecordsInOrder) {
    packageListEntry first{kName, kText, kNo, kYes};
    packageListEntry second{};
    const packageListEntry* entries[] = {&first, &second, nullptr};
    QXL::QXLPackageList out;
    EXPECT_EQ(0, appendPackages(entries, "base", true, out));
    ASSERT_EQ(2U, out.size());
    EXPECT_NE(nullptr, dynamic_cast<const QXL::QXLPackageRpm*>(out[0].get()));
    EXPECT_EQ("name", out[0]->name);
    EXPECT_EQ("text", out[0]->architecture);
    EXPECT_EQ("no", out[0]->version);
    EXPECT_EQ("yes", out[0]->summary);
    EXPECT_EQ(".base", out[0]->os.osName);
    EXPECT_EQ("Linux", out[0]->os.platform);
    EXPECT_EQ("", out[1]->name);
    EXPECT_EQ("", out[1]->architecture);
    EXPECT_EQ("", out[1]->version);
    EXPECT_EQ("", out[1]->summary);
}

TEST(PackagesOfEntries, haveSummariesOnlyWhenTheyAreWanted) {
    packageListEntry entry{kName, kText, kNo, kYes};
    const packageListEntry* entries[] = {&entry, nullptr};
    QXL::QXLPackageList out;
    EXPECT_EQ(0, appendPackages(entries, "base", false, out));
    EXPECT_EQ("", out[0]->summary);
}

TEST(PackagesOfEntries, withoutAnArrayAreAFailure) {
    QXL::QXLPackageList out{rpm("before")};
    EXPECT_EQ(-1, appendPackages(static_cast<packageListEntry**>(nullptr), "base", true, out));
    EXPECT_THAT(textsOf(out), ElementsAre("before"));
}

TEST(PackagesOfNames, areRpmRecordsInOrder) {
    const char* const names[] = {"b", "a", nullptr};
    QXL::QXLPackageList out;
    EXPECT_EQ(0, appendPackages(names, ".base", out));
    EXPECT_THAT(textsOf(out), ElementsAre("b (OS .base)", "a (OS .base)"));
    EXPECT_NE(nullptr, dynamic_cast<const QXL::QXLPackageRpm*>(out[0].get()));
    EXPECT_EQ("Linux", out[0]->os.platform);
}

TEST(PackagesOfNames, withoutAnArrayAreAFailure) {
    QXL::QXLPackageList out;
    EXPECT_EQ(-1, appendPackages(static_cast<const char* const*>(nullptr), "base", out));
    EXPECT_THAT(out, IsEmpty());
}

}  // namespace
}  // namespace QXA
