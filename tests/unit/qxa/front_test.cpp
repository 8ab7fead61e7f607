// The package-manager front: resolution, rights, dispatch, refusals, reports of changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QXA/QXAPackageQXTemplate.h"
#include "QXL/QXLToken.h"
#include "qxa/plugins/QXAPkg/QXAPackageText.h"
#include "qxa/plugins/QXAPkg/QXAPkgMLocal.h"
#include "tests/fakes/fake_platform.h"

namespace QXA {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Access : public QXL::QXLAccessProviderPrototype {};

QXL::QXLPackageSP standard(const std::string& name, const std::string& version = "1") {
    auto record = std::make_shared<QXAPackageQXTemplateStd>();
    record->name = name;
    record->version = version;
    return record;
}

QXL::QXLPackageSP foreign(const std::string& name, const std::string& os = "") {
    auto record = std::make_shared<QXL::QXLPackageRpm>();
    record->name = name;
    if (!os.empty()) {
        record->os.osName = os;
    }
    return record;
}

QXL::QXLInstallationPackageSP element(const QXL::QXLPackageSP& record,
                                      const std::string& path = "") {
    auto made = std::make_shared<QXL::QXLInstallationPackage>();
    made->package = std::const_pointer_cast<QXL::QXLPackage>(record);
    made->path = path;
    return made;
}

constexpr const char* kCacheUpdate = "rawRequest.begin synchronize_local 0 qxapkgmonitor";

class Front : public testing::Test {
protected:
    Front() : m_eid(fakes::addContainer(m_platform, 101, "base")) {}

    [[nodiscard]] bool cacheUpdateAsked() const {
        return !m_platform.callsOf(kCacheUpdate).empty();
    }
    [[nodiscard]] std::vector<std::string> notifications() const {
        return m_platform.callsOf("sendCommandConfUpdate");
    }
    [[nodiscard]] std::vector<std::string> changes() const {
        std::vector<std::string> found;
        for (const auto* call : {"tem.add", "tem.rm", "tem.set", "tem.cache", "tem.unset"}) {
            const auto calls = m_platform.callsOf(call);
            found.insert(found.end(), calls.begin(), calls.end());
        }
        return found;
    }

    fakes::FakePlatform m_platform;
    QXL::QXLEID m_eid;
    QXL::QXLEID m_node = QXL::QXLEID::EID_LOCAL;
    QXL::QXLEID m_unknown = QXL::QXLEID::fromString("90000000-0000-0000-0000-000000000000");
    QXAPkgMLocal m_front{new Access};
    QXL::QXLPackageList m_out;
    QXL::QXLPackageManagerOptions m_options;
    QXL::QXLPackageManagerListOptions m_listOptions{0};
};

// --- resolution and rights

TEST_F(Front, anUnresolvedTargetIs3501ForInstallAndMinusOneForTheOthers) {
    EXPECT_EQ(3501, m_front.install(m_unknown, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(-1, m_front.remove(m_unknown, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(-1, m_front.update(m_unknown, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(-1, m_front.list(m_unknown, {}, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_front.getInfo(m_unknown, {}, &m_out));
    EXPECT_EQ("Unknown eid", m_platform.errorMessage);
    EXPECT_THAT(m_platform.callsOf("accessCheck"), IsEmpty());
    EXPECT_THAT(changes(), IsEmpty());
}

TEST_F(Front, changesOnTheNodeNeedRight131) {
    m_platform.refusedRights = {131};
    EXPECT_EQ(414, m_front.install(m_node, {element(nullptr, "/a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.remove(m_node, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_EQ(414, m_front.clean({standard("a")}));
    EXPECT_EQ(414, m_front.fetch({standard("a")}));
    EXPECT_EQ("", m_platform.errorMessage);
    EXPECT_THAT(m_platform.calls,
                ElementsAre("accessCheck 131", "accessCheck 131", "accessCheck 131",
                            "accessCheck 131", "accessCheck 131"));
}

TEST_F(Front, listsOnTheNodeNeedRight130) {
    m_platform.refusedRights = {130};
    EXPECT_EQ(414, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(414, m_front.getInfo(m_node, {}, &m_out));
    EXPECT_THAT(m_platform.calls, ElementsAre("accessCheck 130", "accessCheck 130"));
}

TEST_F(Front, changesInAContainerNeedRight57OnIt) {
    m_platform.refusedRights = {57};
    EXPECT_EQ(414, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(414, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(414, m_front.update(m_eid, {}, &m_out, m_options));
    const auto check = "accessCheck " + m_eid.toString() + " 57";
    EXPECT_THAT(m_platform.callsOf("accessCheck"), ElementsAre(check, check, check));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, listsInAContainerNeedRight56OnIt) {
    m_platform.refusedRights = {56};
    EXPECT_EQ(414, m_front.list(m_eid, {}, &m_out, m_listOptions));
    EXPECT_EQ(414, m_front.getInfo(m_eid, {}, &m_out));
    const auto check = "accessCheck " + m_eid.toString() + " 56";
    EXPECT_THAT(m_platform.callsOf("accessCheck"), ElementsAre(check, check));
}

TEST_F(Front, everyEidOfTheNodeResolvesToTheNode) {
    for (const auto& eid :
         {QXL::QXLEID::EID_INVALID, QXL::QXLEID::EID_LOCAL, m_platform.localEid}) {
        EXPECT_EQ(0, m_front.list(eid, {}, &m_out, m_listOptions));
    }
    EXPECT_THAT(m_platform.callsOf("accessCheck"),
                ElementsAre("accessCheck 130", "accessCheck 130", "accessCheck 130"));
}

// --- install

TEST_F(Front, installIntoAContainerPassesToItsTechnologyAndNotifies) {
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(changes(),
                ElementsAre("tem.add eid=" + m_eid.toString() + " a/1 force=0 second=0"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
    EXPECT_THAT(m_platform.callsOf("notifications"), ElementsAre("notifications eid="));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, aFailedInstallIntoAContainerDoesNotNotify) {
    m_platform.temResults["add"] = {-7};
    EXPECT_EQ(3510, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, installingAnEmptyListIntoAContainerCallsNothing) {
    EXPECT_EQ(0, m_front.install(m_eid, {}, &m_out, m_options));
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, installRefusesByNameWhatDoesNotSuitTheContainer) {
    EXPECT_EQ(3511, m_front.install(m_eid,
                                    {element(foreign("a")), element(standard("good")),
                                     element(foreign("b", "x")), element(nullptr, "/c.tar")},
                                    &m_out, m_options));
    EXPECT_EQ(
        "packages a, b (OS x), /c.tar cannot be installed into Container because they seem to be "
        "incompatible with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aNullElementIsUnsuitableAndNamedByAnEmptyText) {
    EXPECT_EQ(3511, m_front.install(m_eid, {nullptr}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages  cannot be installed"));
}

TEST_F(Front, namesAreNeverTakenForFormats) {
    EXPECT_EQ(3511, m_front.install(m_eid, {element(foreign("%s%n"))}, &m_out, m_options));
    EXPECT_THAT(m_platform.errorMessage, testing::StartsWith("packages %s%n cannot"));
}

TEST_F(Front, installOnTheNodePassesFilesAndAsksForACacheUpdate) {
    EXPECT_EQ(0, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.set /a.tar force=0"));
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aFailedInstallOnTheNodeStillAsksForACacheUpdate) {
    m_platform.temResults["set"] = {-7};
    EXPECT_EQ(3510, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, aCollectionThatNoTechnologyKnowsIs3511WithItsMessage) {
    m_platform.temResults["set"] = {-27};
    EXPECT_EQ(3511, m_front.install(m_node, {element(nullptr, "/a.tar")}, &m_out, m_options));
    EXPECT_EQ(
        "distributive collection contains either files of unsupported types or templates of "
        "different technologies",
        m_platform.errorMessage);
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, anEmptyInstallOnTheNodeIsOfferedButAsksForNoCacheUpdate) {
    EXPECT_EQ(0, m_front.install(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.set force=0"));
    EXPECT_FALSE(cacheUpdateAsked());
}

// --- remove

TEST_F(Front, removeFromAContainerNotifiesWhateverTheResult) {
    m_platform.temResults["rm"] = {0, -9};
    EXPECT_EQ(0, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(-9, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_THAT(notifications(),
                ElementsAre("sendCommandConfUpdate 101", "sendCommandConfUpdate 101"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, removeRefusesByNameAndStillNotifies) {
    EXPECT_EQ(3502, m_front.remove(m_eid, {foreign("a"), standard("b")}, &m_out, m_options));
    EXPECT_EQ(
        "packages a cannot even be installed into Container because they seem to be incompatible "
        "with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
}

TEST_F(Front, removeFromTheNodeAsksForACacheUpdateWhateverTheResult) {
    m_platform.temResults["unset"] = {-30};
    EXPECT_EQ(-30, m_front.remove(m_node, {standard("a")}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, anEmptyRemoveFromTheNodeCallsTheTechnologiesAndAsksForNoCacheUpdate) {
    EXPECT_EQ(0, m_front.remove(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.unset"));
    EXPECT_FALSE(cacheUpdateAsked());
}

// --- update

TEST_F(Front, updateInAContainerNotifies) {
    m_platform.temResults["add"] = {-9};
    EXPECT_EQ(-9, m_front.update(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, updateOnTheNodeAsksForACacheUpdateWhateverTheResult) {
    m_platform.temResults["cache"] = {-4};
    EXPECT_EQ(-4, m_front.update(m_node, {element(standard("a"))}, &m_out, m_options));
    EXPECT_TRUE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, anEmptyUpdateInAContainerReachesTheTechnology) {
    EXPECT_EQ(0, m_front.update(m_eid, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.add eid=" + m_eid.toString() + " force=0 second=0"));
}

TEST_F(Front, updateRefusesWith3503AndTheTextOfRemove) {
    EXPECT_EQ(3503, m_front.update(m_eid, {element(foreign("a"))}, &m_out, m_options));
    EXPECT_EQ(
        "packages a cannot even be installed into Container because they seem to be incompatible "
        "with the later OS template.",
        m_platform.errorMessage);
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
}

TEST_F(Front, anEmptyUpdateOnTheNodeStillAsksForACacheUpdate) {
    EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(changes(), ElementsAre("tem.cache"));
    EXPECT_TRUE(cacheUpdateAsked());
}

// --- a container that no technology serves

TEST_F(Front, anUnservedContainerSucceedsWithoutDoingAnything) {
    const auto dotted = fakes::addContainer(m_platform, 102, ".kr");
    EXPECT_EQ(0, m_front.install(dotted, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(0, m_front.remove(dotted, {standard("a")}, &m_out, m_options));
    EXPECT_EQ(0, m_front.update(dotted, {element(standard("a"))}, &m_out, m_options));
    EXPECT_EQ(0, m_front.getInfo(dotted, {standard("a")}, &m_out));
    EXPECT_EQ(0, m_front.list(dotted, {}, &m_out, m_listOptions));
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_THAT(m_platform.callsOf("tem."), IsEmpty());
    EXPECT_THAT(notifications(),
                ElementsAre("sendCommandConfUpdate 102", "sendCommandConfUpdate 102",
                            "sendCommandConfUpdate 102"));
}

TEST_F(Front, aContainerWithoutANumberSendsNoNotification) {
    m_platform.environments[m_eid].veid = 0;
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    m_platform.environments[m_eid].veid = 101;
    m_platform.environments[m_eid].veidResult = 1;
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aFailingNotificationChangesNothing) {
    m_platform.notificationResult = -1;
    EXPECT_EQ(0, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
}

// --- lists, information, caches

TEST_F(Front, aFailingTechnologyIsMinusOneInListsAndInformation) {
    m_platform.temResults["ls"] = {-9};
    m_platform.temResults["get"] = {-9};
    EXPECT_EQ(-1, m_front.list(m_node, {}, &m_out, m_listOptions));
    EXPECT_EQ(-1, m_front.getInfo(m_node, {standard("a")}, &m_out));
    EXPECT_FALSE(cacheUpdateAsked());
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, cleanAsksForACacheUpdateOnlyWhenItNamesPackages) {
    EXPECT_EQ(0, m_front.clean({}));
    EXPECT_FALSE(cacheUpdateAsked());
    EXPECT_EQ(0, m_front.clean({standard("a")}));
    EXPECT_TRUE(cacheUpdateAsked());
}

TEST_F(Front, fetchAsksForNoCacheUpdate) {
    EXPECT_EQ(0, m_front.fetch({standard("a")}));
    EXPECT_FALSE(cacheUpdateAsked());
}

TEST_F(Front, migrateIsNotServed) {
    EXPECT_EQ(-1, m_front.migrate(m_node, {standard("a")}, m_options));
}

// --- cache update request

TEST_F(Front, theCacheUpdateIsSentByTheAgentToTheLocalAgent) {
    m_front.update(m_node, {}, &m_out, m_options);
    EXPECT_TRUE(m_platform.agentTokenWhileSending);
    EXPECT_FALSE(QXL::QXLToken::getCurrent().isAgent());
    EXPECT_THAT(m_platform.callsOf("rawRequest"),
                ElementsAre("rawRequest eid=", kCacheUpdate, "rawRequest.body deleted",
                            "rawRequest.end", "rawRequest gone"));
    EXPECT_THAT(m_platform.logLines, IsEmpty());
}

TEST_F(Front, withoutAnAccessProviderNoCacheUpdateIsSent) {
    QXAPkgMLocal front(nullptr);
    EXPECT_EQ(0, front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(m_platform.callsOf("rawRequest"), IsEmpty());
    EXPECT_THAT(m_platform.logLines,
                ElementsAre(std::pair(2, std::string("[requestPackagesCacheUpdate]: invalid "
                                                     "_transport value."))));
}

TEST_F(Front, aCacheUpdateThatCannotBeginIsLogged) {
    m_platform.beginFails = true;
    EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(m_platform.logLines,
                ElementsAre(std::pair(1, std::string("[requestPackagesCacheUpdate]: "
                                                     "QXLRawRequestAgent::beginCommand failed."))));
    EXPECT_THAT(m_platform.calls, Not(Contains("rawRequest.end")));
}

TEST_F(Front, aCacheUpdateThatFailsWithoutATextIsLoggedWithItsStatus) {
    m_platform.endStatus = 5;
    m_platform.errorData.code = 77;
    EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(
        m_platform.logLines,
        ElementsAre(std::pair(1, std::string("[requestPackagesCacheUpdate]: "
                                             "QXLRawRequestAgent::endCommand failed with 5."))));
}

TEST_F(Front, aCacheUpdateThatFailsWithATextIsLoggedWithTheErrorsCode) {
    m_platform.endStatus = 5;
    m_platform.errorData = {77, "busy"};
    m_platform.errorMessage = "of the request";
    EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
    EXPECT_THAT(
        m_platform.logLines,
        ElementsAre(std::pair(1, std::string("[requestPackagesCacheUpdate]: "
                                             "qxapkgmonitor/synchronize_local failed with 77 "
                                             "(busy)."))));
    EXPECT_EQ("of the request", m_platform.errorMessage);
}

// --- package texts

TEST(PackageText, joinsNamesWithTheirOs) {
    EXPECT_EQ("a, b (OS x), c", getStringFromPackageList(QXL::QXLPackageList{
                                    foreign("a"), foreign("b", "x"), foreign("c")}));
}

TEST(PackageText, anEmptyOsNameIsNone) {
    auto record = std::make_shared<QXL::QXLPackage>();
    record->name = "a";
    record->os.osName = "";
    EXPECT_EQ("a", getStringFromPackage(QXL::QXLPackageSP(record)));
}

TEST(PackageText, anElementIsItsRecordBeforeItsPath) {
    EXPECT_EQ("a, /b", getStringFromPackageList(QXL::QXLInstallationPackageList{
                           element(foreign("a"), "/x"), element(nullptr, "/b")}));
}

}  // namespace
}  // namespace QXA
