// What the standard technology lists: records of configurations, plain listings, compatible ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

#include "qxa/plugins/QXAPkg/QXAStandardListing.h"
#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"
#include "tests/unit/qxa/standard_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StandardListing : public StandardTechnology {};

// --- the configuration reader

TEST_F(StandardListing, anUnreadableConfigurationIsOnlyLoggedAndTheOthersAreListed) {
    know("a", "1", true);
    know("b", "1", true);
    for (const int unreadable : {-9, 9, -30}) {
        m_platform.configResults["a/1"] = unreadable;
        m_platform.logLines.clear();
        m_out.clear();
        EXPECT_EQ(0, m_technology.list({}, {}, listOptions(), &m_out));
        EXPECT_THAT(names(), ElementsAre("b/1"));
        EXPECT_THAT(
            m_platform.logLines,
            ElementsAre(std::pair(1, std::string("Failed to read QX template a/1 configuration"))));
    }
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(StandardListing, anUnknownVersionIsPassedOverSilently) {
    know("a", "1", true);
    m_platform.configResults["a/1"] = -51;
    EXPECT_EQ(0, m_technology.list({}, {}, listOptions(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_THAT(m_platform.logLines, IsEmpty());
}

TEST_F(StandardListing, theConfigurationReaderNeverStopsTheWalk) {
    know("a", "1", true);
    const StandardPackageConfigReader reader("a");
    StandardRecords records;
    QXAPackageVersion version;
    version.version = "1";
    EXPECT_FALSE(reader(version, &records));
    m_platform.configResults["a/1"] = -51;
    EXPECT_FALSE(reader(version, &records));
    m_platform.configResults["a/1"] = -9;
    EXPECT_FALSE(reader(version, &records));
    EXPECT_EQ(1U, records.size());
}

TEST_F(StandardListing, theConfigurationReaderTakesFlagAndDetailFromTheListedVersion) {
    know("a", "1", false);
    QXAPackageVersion listed;
    listed.version = "1";
    listed.isOsTemplate = true;
    listed.detail = "listed";
    StandardRecords records;
    StandardPackageConfigReader("a")(listed, &records);
    EXPECT_TRUE(records.at(0).versionFlag);
    EXPECT_EQ("listed", records[0].versionDetail);
    EXPECT_FALSE(records[0].isOsTemplate);
}

TEST_F(StandardListing, readsEachTemplatesVersionsInOrderWithAFreshManagerForEach) {
    know("b", "2", true);
    know("b", "1", true);
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {}, listOptions(), &m_out));
    EXPECT_THAT(names(), ElementsAre("b/2", "b/1", "a/1"));
    EXPECT_THAT(m_platform.calls, ElementsAre("tem access=null", "tem.ls eid=local type=3",
                                              "tem access=null", "tem.getTemplateConfig b/2",
                                              "tem access=null", "tem.getTemplateConfig b/1",
                                              "tem access=null", "tem.getTemplateConfig a/1"));
}

// --- list

TEST_F(StandardListing, listsTheNodeForEverythingThatIsNoContainer) {
    const auto node = QXL::QXLEID::fromString("50000000-0000-0000-0000-000000000000");
    m_platform.environments[node].type = "node";
    for (const auto& eid : {QXL::QXLEID::EID_INVALID, QXL::QXLEID::EID_LOCAL, node}) {
        m_technology.list(eid, {}, listOptions(), &m_out);
    }
    EXPECT_THAT(m_platform.callsOf("tem.ls"),
                ElementsAre("tem.ls eid=local type=3", "tem.ls eid=local type=3",
                            "tem.ls eid=local type=3"));
    EXPECT_THAT(m_platform.callsOf("envCache"),
                ElementsAre("envCache.getEnvCopy " + node.toString()));
}

TEST_F(StandardListing, listsTheNodeForAnEidThatTheCacheDoesNotKnow) {
    const auto unknown = QXL::QXLEID::fromString("60000000-0000-0000-0000-000000000000");
    m_technology.list(unknown, {}, listOptions(), &m_out);
    m_platform.hasCache = false;
    m_technology.list(unknown, {}, listOptions(), &m_out);
    EXPECT_THAT(m_platform.callsOf("tem.ls"),
                ElementsAre("tem.ls eid=local type=3", "tem.ls eid=local type=3"));
}

TEST_F(StandardListing, readsTheNodesTemplatesForAnInvalidEid) {
    StandardRecords records;
    EXPECT_EQ(0, readTemplates(QXL::QXLEID::EID_INVALID, kShowOsTemplates, records));
    EXPECT_THAT(m_platform.callsOf("tem.ls"), ElementsAre("tem.ls eid=local type=1"));
}

TEST_F(StandardListing, listsAContainerByItsEid) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_technology.list(eid, {}, listOptions(), &m_out);
    EXPECT_THAT(m_platform.callsOf("tem.ls"),
                ElementsAre("tem.ls eid=" + eid.toString() + " type=3"));
}

TEST_F(StandardListing, asksForTheKindsThatAreWanted) {
    m_technology.list({}, {}, listOptions({"os"}), &m_out);
    m_technology.list({}, {}, listOptions({"app"}), &m_out);
    m_technology.list({}, {}, listOptions({"rpm"}), &m_out);
    m_technology.list({}, {}, listOptions({"os", "rpm"}), &m_out);
    EXPECT_THAT(m_platform.callsOf("tem.ls"),
                ElementsAre("tem.ls eid=local type=1", "tem.ls eid=local type=2",
                            "tem.ls eid=local type=3", "tem.ls eid=local type=1"));
}

TEST_F(StandardListing, aFailingListIsMinusOne) {
    m_platform.temResults["ls"] = {-9, 9};
    EXPECT_EQ(-1, m_technology.list({}, {}, listOptions(), &m_out));
    EXPECT_EQ(-1, m_technology.list({}, {}, listOptions(), &m_out));
}

TEST_F(StandardListing, listingDropsDescriptionsAndSummariesNobodyAskedFor) {
    know("a", "1", true);
    m_technology.list({}, {}, listOptions(), &m_out);
    m_technology.list({}, {}, listOptions({}, 16), &m_out);
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_EQ("", m_out[0]->description);
    EXPECT_EQ("summary of a", m_out[1]->summary);
    EXPECT_EQ("", m_out[1]->description);
}

TEST_F(StandardListing, listingPackagesGivesThoseOfEachTemplate) {
    know("a", "1", true);
    know("b", "1", true);
    m_technology.list({}, {}, listOptions({"rpm"}), &m_out);
    EXPECT_THAT(names(), ElementsAre("a-package", "b-package"));
}

TEST_F(StandardListing, listingBothGivesAllTemplatesFirst) {
    know("a", "1", true);
    know("b", "1", true);
    m_technology.list({}, {}, listOptions({"rpm", "os"}), &m_out);
    EXPECT_THAT(names(), ElementsAre("a/1", "b/1", "a-package", "b-package"));
}

TEST_F(StandardListing, listedTemplatesAreWholeRecordsAndTheirPackagesPlainOnes) {
    know("web", "1", false, {{"base", ""}});
    m_technology.list({}, {}, listOptions({"rpm", "app"}), &m_out);
    ASSERT_EQ(2U, m_out.size());
    const auto* const web = dynamic_cast<const QXAStandardQXTemplateEx*>(m_out[0].get());
    ASSERT_NE(nullptr, web);
    EXPECT_EQ("base", web->baseOsTemplates.at(0)->name);
    EXPECT_EQ("web-package", web->packages.at(0)->name);
    EXPECT_THAT(web->getTechnologyList(), ElementsAre("x86"));
    EXPECT_TRUE(typeid(*m_out[1]) == typeid(QXL::QXLPackage));
}

TEST_F(StandardListing, aRequestSelectsByExactNameAndVersionInTheirOrder) {
    know("b", "2", true);
    know("b", "3", true);
    know("b", "10", true);
    know("a", "1", true);
    m_technology.list({},
                      {standard("b", "2"), standard("a", "1"), standard("c", "1"),
                       standard("b", "10"), standard("a", "1")},
                      listOptions(), &m_out);
    EXPECT_THAT(names(), ElementsAre("a/1", "b/10", "b/2"));
}

TEST_F(StandardListing, aRequestWithoutVersionSelectsNothing) {
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("a")}, listOptions(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, aRequestOfOthersPackagesSelectsNothing) {
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {kr(".a"), nullptr}, listOptions(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, compatibleInAContainerListsTheNodesTemplatesThatGoWithItsOs) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("other", "1", true);
    know("web", "1", false, {{"base", ""}});
    know("base", "1", true);
    know("mail", "1", false, {{"other", ""}});
    m_platform.lsInfosOf[eid] = {m_platform.lsInfos[2]};
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({}, 32 | 16), &m_out));
    EXPECT_THAT(names(), ElementsAre("web/1", "base/1"));
    EXPECT_EQ("summary of web", m_out[0]->summary);
    EXPECT_THAT(m_platform.callsOf("tem.ls"),
                ElementsAre("tem.ls eid=" + eid.toString() + " type=1", "tem.ls eid=local type=3"));
}

TEST_F(StandardListing, compatibleInAContainerListsNoPackages) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("base", "1", true);
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({"rpm"}, 32), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.ls"), IsEmpty());
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({"rpm", "os"}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("base/1"));
}

TEST_F(StandardListing, compatibleInAContainerListsWhateverIsRequested) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("base", "1", true);
    know("web", "1", false, {{"base", ""}});
    m_platform.lsInfosOf[eid] = {m_platform.lsInfos[0]};
    EXPECT_EQ(0, m_technology.list(eid, {standard("web", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("base/1", "web/1"));
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_EQ("", m_out[0]->description);
}

TEST_F(StandardListing, compatibleInAContainerGoesByItsFirstOsTemplate) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("base", "1", true);
    know("other", "1", true);
    m_platform.lsInfosOf[eid] = {m_platform.lsInfos[1], m_platform.lsInfos[0]};
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("other/1"));
}

TEST_F(StandardListing, compatibleInAContainerOfAnEmptyNodeListsNothing) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("base", "1", true);
    m_platform.lsInfosOf[eid] = m_platform.lsInfos;
    m_platform.lsInfos.clear();
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({}, 32), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, compatibleInAContainerNeedsItsOsTemplate) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.lsInfosOf[eid] = {};
    EXPECT_EQ(-1, m_technology.list(eid, {}, listOptions({}, 32), &m_out));
    m_platform.temResults["ls"] = {-9};
    EXPECT_EQ(-1, m_technology.list(eid, {}, listOptions({}, 32), &m_out));
    know("base", "1", true);
    m_platform.lsInfosOf[eid] = m_platform.lsInfos;
    m_platform.temResults["ls"] = {0, -9};
    EXPECT_EQ(-1, m_technology.list(eid, {}, listOptions({}, 32), &m_out));
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(StandardListing, compatibleOnTheNodeWithoutARequestListsNothing) {
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {}, listOptions({}, 32), &m_out));
    EXPECT_THAT(m_platform.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, compatibleOnTheNodeListsWhatGoesWithTheRequestInOrder) {
    know("web", "1", false, {{"base", ""}});
    know("base", "1", true);
    know("base", "2", true);
    know("mail", "1", false, {{"other", ""}});
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("web/1", "base/1", "base/2"));
}

TEST_F(StandardListing, compatibleOnTheNodeOfAnApplicationListsItsOsAndItsNamesakes) {
    know("web", "1", false, {{"base", "1"}});
    know("web", "2", false, {{"other", ""}});
    know("base", "1", true);
    know("base", "2", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("web", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("web/1", "web/2", "base/1"));
}

TEST_F(StandardListing, compatibleOnTheNodeLooksAtEveryBaseOfAnApplication) {
    know("web", "1", false, {{"other", ""}, {"base", ""}, {"third", ""}});
    know("base", "1", true);
    know("third", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("web", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("web/1", "base/1", "third/1"));
    m_out.clear();
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("web/1", "base/1"));
}

TEST_F(StandardListing, compatibleOnTheNodeOfATemplateWithoutTechnologiesLeavesItOut) {
    know("base", "1", true);
    m_platform.configs["base/1"].technologies.clear();
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "1")}, listOptions({}, 32), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, compatibleOnTheNodeOfUnknownTemplatesListsNothing) {
    know("base", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "2"), kr(".base")}, listOptions({}, 32),
                                   &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardListing, compatibleOnTheNodeKeepsSummariesWhenWanted) {
    know("base", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "1")}, listOptions({}, 32 | 16), &m_out));
    EXPECT_EQ("summary of base", m_out.at(0)->summary);
    EXPECT_EQ("", m_out[0]->description);
}

TEST_F(StandardListing, compatibleOnTheNodeLooksAtTheWantedKindsOnly) {
    m_technology.list({}, {standard("a", "1")}, listOptions({"app"}, 32), &m_out);
    EXPECT_THAT(m_platform.callsOf("tem.ls"), ElementsAre("tem.ls eid=local type=2"));
}

TEST_F(StandardListing, compatibleOnTheNodeGivesPackagesOfTheTemplatesToo) {
    know("base", "1", true);
    EXPECT_EQ(0, m_technology.list({}, {standard("base", "1")}, listOptions({"rpm"}, 32), &m_out));
    EXPECT_THAT(names(), ElementsAre("base-package"));
}

TEST_F(StandardListing, compatibleOnTheNodeFailsWithTheList) {
    m_platform.temResults["ls"] = {-9};
    EXPECT_EQ(-1, m_technology.list({}, {standard("a", "1")}, listOptions({}, 32), &m_out));
}

}  // namespace
}  // namespace QXA
