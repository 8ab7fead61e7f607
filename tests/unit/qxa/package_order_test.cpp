// The three orders and the intersection under them.
#include "qxa/plugins/QXAPkg/QXAPackageOrder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QXL::QXLPackageSP package(const std::string& name, const std::string& version) {
    auto made = std::make_shared<QXL::QXLPackage>();
    made->name = name;
    made->version = version;
    return made;
}

std::vector<std::string> texts(const QXL::QXLPackageList& list) {
    std::vector<std::string> found;
    for (const auto& entry : list) {
        found.push_back(entry->name + " " + entry->version);
    }
    return found;
}

TEST(PackageLess, sortsByNameThenVersionByteWiseNotNumerically) {
    QXL::QXLPackageList list{package("b", "1"), package("a", "2"), package("a", "10")};
    std::sort(list.begin(), list.end(), PackageLess());
    EXPECT_THAT(texts(list), ElementsAre("a 10", "a 2", "b 1"));
}

TEST(PackageLess, comparesUnsignedBytesAndPutsTheShorterFirst) {
    const PackageLess less;
    EXPECT_TRUE(less(package("a\x7f", ""), package("a\x80", "")));
    EXPECT_TRUE(less(package("a", ""), package("ab", "")));
    EXPECT_TRUE(less(package("B", ""), package("a", "")));
    EXPECT_FALSE(less(package("a", "1"), package("a", "1")));
}

TEST(PackageLess, takesRecordsAndPointersInEveryPairing) {
    const PackageLess less;
    const auto a = package("a", "1");
    const auto b = package("b", "1");
    EXPECT_TRUE(less(a, b));
    EXPECT_TRUE(less(*a, b));
    EXPECT_TRUE(less(a, *b));
    EXPECT_TRUE(less(*a, *b));
    EXPECT_FALSE(less(b, *a));
}

TEST(PackageLess, putsNoRecordBeforeItself) {
    const PackageLess less;
    for (const auto& record : {package("a", "1"), package("a", ""), package("", "")}) {
        EXPECT_FALSE(less(record, record));
        EXPECT_FALSE(less(*record, record));
        EXPECT_FALSE(less(record, *record));
        EXPECT_FALSE(less(*record, *record));
    }
}

TEST(PackageLess, anEmptyRequestedVersionMatchesOnlyAnEmptyVersion) {
    const QXL::QXLPackageList listed{package("a", "1")};
    const QXL::QXLPackageList requested{package("a", "")};
    QXL::QXLPackageList selected;
    mergeIntersection(listed.begin(), listed.end(), requested.begin(), requested.end(),
                      std::back_inserter(selected), PackageLess());
    EXPECT_THAT(selected, IsEmpty());
}

TEST(TemplateLess, ordersByNameThenVersion) {
    EXPECT_TRUE(templateLess({"a", "2"}, {"b", "1"}));
    EXPECT_TRUE(templateLess({"a", ""}, {"a", "1"}));
    EXPECT_TRUE(templateLess({"a", "10"}, {"a", "2"}));
    EXPECT_FALSE(templateLess({"a", "1"}, {"a", "1"}));
}

TEST(TemplateUsageLess, takesAnEmptyVersionForEveryVersion) {
    EXPECT_TRUE(templateUsageLess({"a", "1"}, {"b", ""}));
    EXPECT_TRUE(templateUsageLess({"a", "1"}, {"a", "2"}));
    EXPECT_FALSE(templateUsageLess({"a", ""}, {"a", "2"}));
    EXPECT_FALSE(templateUsageLess({"a", "1"}, {"a", ""}));
    EXPECT_FALSE(templateUsageLess({"b", ""}, {"a", "1"}));
}

TEST(TemplateOrders, putNoTemplateBeforeItself) {
    for (const auto& key : {QXATemplate("a", "1"), QXATemplate("a", ""), QXATemplate("", "")}) {
        EXPECT_FALSE(templateLess(key, key)) << key.toString();
        EXPECT_FALSE(templateUsageLess(key, key)) << key.toString();
    }
}

std::vector<QXATemplate> inUse(const std::vector<QXATemplate>& used,
                               const std::vector<QXATemplate>& requested) {
    std::vector<QXATemplate> common;
    mergeIntersection(used.begin(), used.end(), requested.begin(), requested.end(),
                      std::back_inserter(common), templateUsageLess);
    return common;
}

TEST(UsageIntersection, takesTheFirstUsedVersionForARequestWithoutVersion) {
    EXPECT_THAT(inUse({{"a", "1"}, {"a", "2"}}, {{"a", ""}}), ElementsAre(QXATemplate("a", "1")));
}

TEST(UsageIntersection, consumesEachRequestAtMostOnce) {
    EXPECT_THAT(inUse({{"a", "1"}, {"a", "2"}}, {{"a", ""}, {"a", "2"}}),
                ElementsAre(QXATemplate("a", "1"), QXATemplate("a", "2")));
}

TEST(UsageIntersection, namesEachUsedTemplateAtMostOnce) {
    EXPECT_THAT(inUse({{"a", "1"}}, {{"a", ""}, {"a", "1"}}), ElementsAre(QXATemplate("a", "1")));
}

TEST(UsageIntersection, namesATemplateAsOftenAsItIsUsedAndRequested) {
    EXPECT_THAT(inUse({{"a", "1"}, {"a", "1"}}, {{"a", ""}, {"a", "1"}}),
                ElementsAre(QXATemplate("a", "1"), QXATemplate("a", "1")));
    EXPECT_THAT(inUse({{"a", "1"}, {"a", "1"}}, {{"a", "1"}}), ElementsAre(QXATemplate("a", "1")));
}

TEST(UsageIntersection, ofOtherVersionsIsEmpty) {
    EXPECT_THAT(inUse({{"a", "1"}}, {{"a", "2"}, {"b", ""}}), IsEmpty());
}

TEST(TemplateKey, textIsNameAndVersionWhenBothAreThere) {
    EXPECT_EQ("base", QXATemplate("base", "").toString());
    EXPECT_EQ("base/20", QXATemplate("base", "20").toString());
    EXPECT_EQ("", QXATemplate("", "20").toString());
}

TEST(TemplateRecords, startEmpty) {
    const QXATemplateConfigInfo config;
    EXPECT_EQ("", config.version);
    EXPECT_FALSE(config.packageFlag);
    EXPECT_FALSE(config.isOsTemplate);
    EXPECT_TRUE(config.baseOsTemplates.empty());
    EXPECT_TRUE(config.packages.empty());
    EXPECT_EQ("", config.platform);
}

}  // namespace
}  // namespace QXA
