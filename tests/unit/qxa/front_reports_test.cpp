// What the package-manager front tells others: notifications, cache update requests, package texts.
#include "QXL/QXLToken.h"
#include "qxa/plugins/QXAPkg/QXAPackageText.h"
#include "qxa/plugins/QXAPkg/QXAPackagesCacheUpdate.h"
#include "tests/unit/qxa/front_fixture.h"

namespace QXA::front {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// --- notifications

TEST_F(Front, aContainerWithoutANumberSendsNoNotification) {
    m_platform.environments[m_eid].veid = 0;
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    m_platform.environments[m_eid].veid = 101;
    m_platform.environments[m_eid].veidResult = 1;
    EXPECT_EQ(0, m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options));
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aNegativeNumberSendsNoNotification) {
    m_platform.environments[m_eid].veid = -101;
    EXPECT_EQ(0, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_THAT(notifications(), IsEmpty());
}

TEST_F(Front, aFailingNotificationChangesNothing) {
    m_platform.notificationResult = -1;
    EXPECT_EQ(0, m_front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_EQ("", m_platform.errorMessage);
    EXPECT_THAT(m_platform.logLines, IsEmpty());
}

TEST_F(Front, withoutAnAccessProviderNotificationsAreSentAllTheSame) {
    QXAPkgMLocal front(nullptr);
    EXPECT_EQ(0, front.remove(m_eid, {standard("a")}, &m_out, m_options));
    EXPECT_THAT(m_platform.callsOf("notifications"), ElementsAre("notifications eid= access=null"));
    EXPECT_THAT(notifications(), ElementsAre("sendCommandConfUpdate 101"));
}

// --- the order of work and reports

TEST_F(Front, listenersHearOfAContainerAfterItWasChanged) {
    const auto eid = m_eid.toString();
    m_front.install(m_eid, {element(standard("a"))}, &m_out, m_options);
    m_front.remove(m_eid, {standard("a")}, &m_out, m_options);
    m_front.update(m_eid, {element(standard("a"))}, &m_out, m_options);
    EXPECT_THAT(
        changesAndReports(),
        ElementsAre("tem.add eid=" + eid + " a/1 force=0 second=0", "sendCommandConfUpdate 101",
                    "tem.rm eid=" + eid + " a/1 force=0 second=1", "sendCommandConfUpdate 101",
                    "tem.add eid=" + eid + " a/ force=0 second=0", "sendCommandConfUpdate 101"));
}

TEST_F(Front, theMonitorHearsOfTheNodeAfterItWasChanged) {
    m_front.install(m_node, {element(nullptr, "/a")}, &m_out, m_options);
    m_front.remove(m_node, {standard("a")}, &m_out, m_options);
    m_front.update(m_node, {element(standard("a"))}, &m_out, m_options);
    m_front.clean({foreign("sh")});
    EXPECT_THAT(changesAndReports(),
                ElementsAre("exec [qxpkg] [install] [template] [-q] [/a]", kCacheUpdate,
                            "tem.unset a/1", kCacheUpdate, "tem.cache a/1", kCacheUpdate,
                            "exec [qxpkg] [clean] [-q] [-p] [sh]", kCacheUpdate));
}

// --- cache update request

TEST_F(Front, theCacheUpdateIsSentByTheAgentToTheLocalAgent) {
    m_front.update(m_node, {}, &m_out, m_options);
    EXPECT_TRUE(m_platform.agentTokenThroughout);
    EXPECT_FALSE(QXL::QXLToken::getCurrent().isAgent());
    EXPECT_THAT(m_platform.callsOf("rawRequest"),
                ElementsAre("rawRequest eid=", kCacheUpdate, "rawRequest.body deleted",
                            "rawRequest.end", "rawRequest gone"));
    EXPECT_THAT(m_platform.logLines, IsEmpty());
}

TEST_F(Front, theCacheUpdateGoesToTheEnvironmentThatIsNamed) {
    requestPackagesCacheUpdate(new Access, m_eid);
    EXPECT_THAT(m_platform.callsOf("rawRequest eid"),
                ElementsAre("rawRequest eid=" + m_eid.toString()));
}

TEST_F(Front, theCacheUpdateLeavesTheTokenThatWasCurrent) {
    const QXL::QXLTokenHolder agent(QXL::QXLToken::getAgentToken());
    m_front.update(m_node, {}, &m_out, m_options);
    EXPECT_TRUE(QXL::QXLToken::getCurrent().isAgent());
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
    EXPECT_FALSE(QXL::QXLToken::getCurrent().isAgent());
}

TEST_F(Front, aCacheUpdateThatFailsWithoutATextIsLoggedWithItsStatus) {
    m_platform.errorData.code = 77;
    for (const int status : {5, -5}) {
        m_platform.endStatus = status;
        m_platform.logLines.clear();
        EXPECT_EQ(0, m_front.update(m_node, {}, &m_out, m_options));
        EXPECT_THAT(m_platform.logLines,
                    ElementsAre(std::pair(1,
                                          "[requestPackagesCacheUpdate]: "
                                          "QXLRawRequestAgent::endCommand failed with " +
                                              std::to_string(status) + ".")));
    }
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

TEST(PackageText, aNullElementIsAnEmptyText) {
    EXPECT_EQ("a, , c",
              getStringFromPackageList(QXL::QXLPackageList{foreign("a"), nullptr, foreign("c")}));
    EXPECT_EQ(", a", getStringFromPackageList(QXL::QXLPackageList{nullptr, foreign("a")}));
    EXPECT_EQ(", a, ", getStringFromPackageList(QXL::QXLInstallationPackageList{
                           nullptr, element(foreign("a")), nullptr}));
}

TEST(PackageText, anElementIsItsRecordBeforeItsPath) {
    EXPECT_EQ("a, /b", getStringFromPackageList(QXL::QXLInstallationPackageList{
                           element(foreign("a"), "/x"), element(nullptr, "/b")}));
}

}  // namespace
}  // namespace QXA::front
