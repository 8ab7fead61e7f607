// The operations of the standard technology over the template manager.
#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "qxa/plugins/QXAPkg/QXAStandardPackages.h"
#include "tests/unit/qxa/standard_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(StandardTechnology, knowsItsPackagesByTheirClass) {
    EXPECT_TRUE(isStandardPackage(standard("a")));
    EXPECT_TRUE(isStandardPackage(std::make_shared<QXAStandardQXTemplateEx>()));
    EXPECT_FALSE(isStandardPackage(kr(".a")));
    EXPECT_FALSE(isStandardPackage(std::make_shared<QXL::QXLPackageRpm>()));
    EXPECT_FALSE(isStandardPackage(nullptr));
}

TEST_F(StandardTechnology, takesItsPackagesOutOfAMixedRequestInOrder) {
    const auto keys = standardTemplates(
        QXL::QXLPackageList{kr(".x"), standard("b", "1"), nullptr, standard("a")});
    EXPECT_THAT(keys, ElementsAre(QXATemplate("b", "1"), QXATemplate("a", "")));
    EXPECT_EQ(1U,
              standardPackages(QXL::QXLInstallationPackageList{nullptr, installation(nullptr, "/f"),
                                                               installation(standard("a"))})
                  .size());
}

TEST_F(StandardTechnology, cleanAndFetchDoNothing) {
    EXPECT_EQ(0, m_technology.clean({standard("a")}));
    EXPECT_EQ(0, m_technology.fetch({standard("a")}));
    EXPECT_THAT(m_platform.calls, IsEmpty());
}

TEST_F(StandardTechnology, servesContainersWhoseOsTemplateHasNoDot) {
    const auto plain = fakes::addContainer(m_platform, 101, "base");
    const auto dotted = fakes::addContainer(m_platform, 102, ".base");
    QXAEnvConfig config;
    QXATemplateTypeImpl::getVeConfig(plain, config);
    EXPECT_TRUE(m_technology.isVeCompatible(plain, config));
    QXATemplateTypeImpl::getVeConfig(dotted, config);
    EXPECT_FALSE(m_technology.isVeCompatible(dotted, config));
}

TEST_F(StandardTechnology, itsPackagesSuitContainers) {
    EXPECT_TRUE(m_technology.doesPackageSuitForOperationsInsideVE(standard("a")));
    EXPECT_FALSE(m_technology.doesPackageSuitForOperationsInsideVE(kr(".a")));
    EXPECT_FALSE(m_technology.doesPackageSuitForOperationsInsideVE(nullptr));
}

// --- info

TEST_F(StandardTechnology, infoOfNoStandardPackagesAsksNothing) {
    EXPECT_EQ(0, m_technology.info(QXL::QXLEID::EID_LOCAL, {kr(".a")}, &m_out));
    EXPECT_THAT(m_platform.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardTechnology, infoDescribesEachTemplateFully) {
    know("a", "1", true);
    know("b", "2", true);
    EXPECT_EQ(0, m_technology.info({}, {standard("b", "2"), standard("a", "1")}, &m_out));
    EXPECT_THAT(names(), ElementsAre("b/2", "a/1"));
    EXPECT_EQ("summary of b", m_out[0]->summary);
    EXPECT_EQ("description of b", m_out[0]->description);
    EXPECT_NE(nullptr, std::dynamic_pointer_cast<const QXAStandardQXTemplateEx>(m_out[0]));
}

TEST_F(StandardTechnology, infoReaderPassesANullRequestOver) {
    EXPECT_FALSE(StandardPackageTEMReader()(nullptr, &m_out));
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_THAT(m_platform.calls, IsEmpty());
}

TEST_F(StandardTechnology, infoUsesAFreshManagerWithoutAccessForEachCall) {
    know("a", "1", true);
    m_technology.info({}, {standard("a", "1")}, &m_out);
    EXPECT_THAT(m_platform.calls, ElementsAre("tem access=null", "tem.get a/1", "tem access=null",
                                              "tem.getTemplateConfig a/1"));
}

TEST_F(StandardTechnology, infoPassesUnknownTemplatesOver) {
    know("a", "1", true);
    m_platform.temResults["get"] = {-30, -51, 0};
    EXPECT_EQ(0, m_technology.info({}, {standard("x", "1"), standard("y", "1"), standard("a", "1")},
                                   &m_out));
    EXPECT_THAT(names(), ElementsAre("a/1"));
}

TEST_F(StandardTechnology, infoStopsWith1AtAnyOtherFailureAndKeepsWhatItHas) {
    know("a", "1", true);
    m_platform.temResults["get"] = {0, -9, 0};
    EXPECT_EQ(1, m_technology.info({}, {standard("a", "1"), standard("b", "1"), standard("a", "1")},
                                   &m_out));
    EXPECT_THAT(names(), ElementsAre("a/1"));
    EXPECT_EQ(2U, m_platform.callsOf("tem.get ").size());
}

TEST_F(StandardTechnology, infoStopsAtAPositiveResultToo) {
    m_platform.temResults["get"] = {9};
    EXPECT_EQ(1, m_technology.info({}, {standard("a", "1")}, &m_out));
}

TEST_F(StandardTechnology, infoReadsTheFirstVersionOnly) {
    know("a", "1", true);
    know("a", "2", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    EXPECT_EQ(0, m_technology.info({}, {standard("a")}, &m_out));
    EXPECT_THAT(names(), ElementsAre("a/1"));
}

TEST_F(StandardTechnology, infoReadsTheTemplateUnderTheNameOfTheAnswer) {
    know("a", "1", true);
    m_platform.getInfos["alias"] = m_platform.lsInfos[0];
    EXPECT_EQ(0, m_technology.info({}, {standard("alias")}, &m_out));
    EXPECT_THAT(names(), ElementsAre("a/1"));
}

TEST_F(StandardTechnology, infoWithoutVersionsInTheAnswerAddsNothing) {
    m_platform.getInfos["a"].name = "a";
    EXPECT_EQ(0, m_technology.info({}, {standard("a")}, &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardTechnology, infoWorksWithoutAnOutputList) {
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.info({}, {standard("a", "1")}, nullptr));
}

// --- changes inside a container

TEST_F(StandardTechnology, installsIntoAContainerAndListsWhatItInstalled) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("a", "1", true);
    know("b", "1", true);
    EXPECT_EQ(0, m_technology.installIntoVE(
                     eid, {installation(standard("b", "1")), installation(kr(".x"))}, options(8),
                     &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.add"),
                ElementsAre("tem.add eid=" + eid.toString() + " b/1 force=1 second=0"));
    EXPECT_THAT(m_platform.callsOf("tem.ls"), ElementsAre("tem.ls eid=local type=3"));
    EXPECT_THAT(names(), ElementsAre("b/1"));
    EXPECT_EQ("", m_out[0]->summary);
}

TEST_F(StandardTechnology, installingWithoutStandardPackagesAddsAnEmptyListAndListsTheNode) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    know("a", "1", true);
    EXPECT_EQ(0, m_technology.installIntoVE(eid, {installation(kr(".x"))}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.add"),
                ElementsAre("tem.add eid=" + eid.toString() + " force=0 second=0"));
    EXPECT_THAT(names(), ElementsAre("a/1"));
}

TEST_F(StandardTechnology, aConflictInsideAContainerIs3510AndAnythingElse3501) {
    m_platform.temResults["add"] = {-7, -5, -27, 1};
    const QXL::QXLInstallationPackageList request{installation(standard("a", "1"))};
    EXPECT_EQ(3510, m_technology.installIntoVE({}, request, options(), &m_out));
    EXPECT_EQ(3501, m_technology.installIntoVE({}, request, options(), &m_out));
    EXPECT_EQ(3501, m_technology.installIntoVE({}, request, options(), &m_out));
    EXPECT_EQ(3501, m_technology.installIntoVE({}, request, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.ls"), IsEmpty());
}

TEST_F(StandardTechnology, aFailingListAfterInstallationIsItsResult) {
    m_platform.temResults["ls"] = {-9};
    EXPECT_EQ(-1, m_technology.installIntoVE({}, {installation(standard("a"))}, options(), &m_out));
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(StandardTechnology, updatesInAContainerToTheNewestVersions) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.temResults["add"] = {-7};
    EXPECT_EQ(-7, m_technology.updateInVE(
                      eid, {installation(standard("a", "1")), installation(standard("b"))},
                      options(8), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.add"),
                ElementsAre("tem.add eid=" + eid.toString() + " a/ b/ force=1 second=0"));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardTechnology, removesFromAContainer) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.temResults["rm"] = {-8};
    EXPECT_EQ(-8,
              m_technology.removeFromVE(eid, {kr(".x"), standard("a", "1")}, options(8), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.rm"),
                ElementsAre("tem.rm eid=" + eid.toString() + " a/1 force=1 second=1"));
    EXPECT_THAT(m_out, IsEmpty());
}

// --- changes on the node

TEST_F(StandardTechnology, installsFilesOnTheNodeAndKeepsSummaries) {
    know("a", "1", true);
    m_platform.setInfos = m_platform.lsInfos;
    EXPECT_EQ(0, m_technology.installOnNode(
                     {installation(nullptr, "/b.tar"), installation(standard("x"), "/a.tar"),
                      installation(standard("y"))},
                     options(8), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.set"), ElementsAre("tem.set /b.tar /a.tar force=1"));
    EXPECT_THAT(names(), ElementsAre("a/1"));
    EXPECT_EQ("summary of a", m_out[0]->summary);
    EXPECT_EQ("", m_out[0]->description);
}

struct SetCase {
    int result;
    int code;
};

class SetResult : public StandardTechnology, public testing::WithParamInterface<SetCase> {};

TEST_P(SetResult, isMappedToTheAgentsCode) {
    m_platform.temResults["set"] = {GetParam().result};
    EXPECT_EQ(GetParam().code,
              m_technology.installOnNode({installation(nullptr, "/a")}, options(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(results, SetResult,
                         testing::Values(SetCase{0, 0}, SetCase{-7, 3510}, SetCase{-27, 3511},
                                         SetCase{-5, 3509}, SetCase{-1, 3501}, SetCase{-30, 3501},
                                         SetCase{3, 3501}));

TEST_F(StandardTechnology, updatesCachesOnTheNodeKeepingVersions) {
    m_platform.temResults["cache"] = {-4};
    EXPECT_EQ(-4,
              m_technology.updateOnNode({installation(standard("a", "1")), installation(kr(".x"))},
                                        options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.cache"), ElementsAre("tem.cache a/1"));
}

TEST_F(StandardTechnology, anEmptyUpdateRenewsEveryCache) {
    EXPECT_EQ(0, m_technology.updateOnNode({}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.cache"), ElementsAre("tem.cache"));
}

TEST_F(StandardTechnology, anUpdateOfOthersPackagesCallsNothing) {
    EXPECT_EQ(0, m_technology.updateOnNode({installation(kr(".x"))}, options(), &m_out));
    EXPECT_THAT(m_platform.calls, IsEmpty());
}

TEST_F(StandardTechnology, removesFromTheNodeWhatNobodyUses) {
    m_platform.temResults["unset"] = {-30};
    EXPECT_EQ(-30, m_technology.removeFromNode({standard("a", "1"), kr(".x")}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.unset"), ElementsAre("tem.unset a/1"));
}

TEST_F(StandardTechnology, removesFromTheNodeInTheOrderOfTheRequest) {
    EXPECT_EQ(0, m_technology.removeFromNode(
                     {standard("b", "2"), standard("a"), standard("b", "1")}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.unset"), ElementsAre("tem.unset b/2 a/ b/1"));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardTechnology, installsOnTheNodeWithoutRecordsThatCannotBeRead) {
    know("a", "1", true);
    know("b", "1", true);
    m_platform.setInfos = m_platform.lsInfos;
    m_platform.configResults["a/1"] = -9;
    EXPECT_EQ(0, m_technology.installOnNode({installation(nullptr, "/a")}, options(), &m_out));
    EXPECT_THAT(names(), ElementsAre("b/1"));
}

TEST_F(StandardTechnology, offersAListWithoutFilesToTheManager) {
    EXPECT_EQ(0, m_technology.installOnNode({installation(standard("a"))}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.set"), ElementsAre("tem.set force=0"));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(StandardTechnology, takesNoOtherOptionForForce) {
    m_technology.installOnNode({installation(nullptr, "/a")}, options(~8U), &m_out);
    m_technology.installIntoVE({}, {installation(standard("a"))}, options(~8U), &m_out);
    m_technology.updateInVE({}, {installation(standard("a"))}, options(~8U), &m_out);
    m_technology.removeFromVE({}, {standard("a")}, options(~8U), &m_out);
    EXPECT_THAT(m_platform.callsOf("tem.set"), ElementsAre("tem.set /a force=0"));
    EXPECT_THAT(m_platform.callsOf("tem.add"), ElementsAre("tem.add eid= a/ force=0 second=0",
                                                           "tem.add eid= a/ force=0 second=0"));
    EXPECT_THAT(m_platform.callsOf("tem.rm"), ElementsAre("tem.rm eid= a/ force=0 second=1"));
}

TEST_F(StandardTechnology, everyOperationWorksWithoutAnOutputList) {
    know("a", "1", true);
    m_platform.setInfos = m_platform.lsInfos;
    const auto eid = fakes::addContainer(m_platform, 101, "a");
    EXPECT_EQ(0, m_technology.list({}, {}, listOptions({"rpm", "os"}), nullptr));
    EXPECT_EQ(0, m_technology.list(eid, {}, listOptions({}, 32), nullptr));
    EXPECT_EQ(0, m_technology.installOnNode({installation(nullptr, "/a")}, options(), nullptr));
    EXPECT_EQ(
        0, m_technology.installIntoVE(eid, {installation(standard("a", "1"))}, options(), nullptr));
    EXPECT_EQ(0, m_technology.updateInVE(eid, {}, options(), nullptr));
    EXPECT_EQ(0, m_technology.removeFromVE(eid, {}, options(), nullptr));
}

TEST_F(StandardTechnology, removingOthersPackagesChecksNoUsage) {
    m_platform.hasCache = false;
    EXPECT_EQ(0, m_technology.removeFromNode({kr(".x")}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.unset"), ElementsAre("tem.unset"));
}

// --- every call of the manager

class ManagerCall : public StandardTechnology {
protected:
    const QXL::QXLPackageList m_records{standard("a", "1")};
    const QXL::QXLInstallationPackageList m_files{installation(m_records[0], "/a")};

    /// Operations by the first call that they make of the manager.
    const std::map<std::string, std::function<int()>> m_operations{
        {"tem.add eid= a/1 force=0 second=0",
         [this] { return m_technology.installIntoVE({}, m_files, options(), &m_out); }},
        {"tem.add eid= a/ force=0 second=0",
         [this] { return m_technology.updateInVE({}, m_files, options(), &m_out); }},
        {"tem.rm eid= a/1 force=0 second=1",
         [this] { return m_technology.removeFromVE({}, m_records, options(), &m_out); }},
        {"tem.set /a force=0",
         [this] { return m_technology.installOnNode(m_files, options(), &m_out); }},
        {"tem.cache a/1", [this] { return m_technology.updateOnNode(m_files, options(), &m_out); }},
        {"tem.unset a/1",
         [this] { return m_technology.removeFromNode(m_records, options(), &m_out); }},
        {"tem.get a/1", [this] { return m_technology.info({}, m_records, &m_out); }},
        {"tem.ls eid=local type=3",
         [this] { return m_technology.list({}, m_records, listOptions(), &m_out); }},
        {"tem.ls eid=local type=2",
         [this] { return m_technology.list({}, m_records, listOptions({"app"}, 32), &m_out); }},
    };

    void failEveryCallWith(int result) {
        for (const auto* call : {"ls", "get", "add", "rm", "set", "cache", "unset"}) {
            m_platform.temResults[call] = {result};
        }
    }
};

TEST_F(ManagerCall, goesToAManagerMadeForItWithoutAccess) {
    for (const auto& [call, operate] : m_operations) {
        failEveryCallWith(-9);
        m_platform.calls.clear();
        EXPECT_NE(0, operate()) << call;
        EXPECT_THAT(m_platform.callsOf("tem"), ElementsAre("tem access=null", call));
    }
}

TEST_F(ManagerCall, isFollowedByACallToAnotherManager) {
    m_technology.installIntoVE({}, m_files, options(), &m_out);
    EXPECT_THAT(m_platform.calls,
                ElementsAre("tem access=null", "tem.add eid= a/1 force=0 second=0",
                            "tem access=null", "tem.ls eid=local type=3"));
}

TEST_F(ManagerCall, thatFailsLeavesItsMessage) {
    for (const int result : {-9, 9, -7, -5, -27}) {
        for (const auto& [call, operate] : m_operations) {
            failEveryCallWith(result);
            m_platform.errorMessage = "of the manager";
            EXPECT_NE(0, operate()) << call;
            EXPECT_EQ("of the manager", m_platform.errorMessage) << call << " " << result;
        }
    }
}

TEST_F(ManagerCall, thatSucceedsLeavesTheMessageToo) {
    for (const auto& [call, operate] : m_operations) {
        m_platform.errorMessage = "of another";
        EXPECT_EQ(0, operate()) << call;
        EXPECT_EQ("of another", m_platform.errorMessage) << call;
    }
}

}  // namespace
}  // namespace QXA
