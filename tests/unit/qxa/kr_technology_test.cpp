// The operations of the KR technology over the KR tool and the template tools library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxa/plugins/QXAPkg/QXAKRListing.h"
#include "qxa/plugins/QXAPkg/QXAKRTemplateType.h"
#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KRTechnology : public KRNode {
protected:
    KRTechnology() : m_eid(fakes::addContainer(m_platform, 101, ".base")) {}

    /// Scripts the next run of the tool.
    void run(int code, std::vector<std::string> lines = {}, const std::string& reason = "reason") {
        m_platform.execScripts.push_back({code, std::move(lines), reason});
    }

    QXAKRTemplateImpl m_technology;
    QXL::QXLEID m_eid;
    QXL::QXLEID m_node = QXL::QXLEID::EID_LOCAL;
    QXL::QXLEID m_unknown = QXL::QXLEID::fromString("90000000-0000-0000-0000-000000000000");
};

// --- what it serves

TEST_F(KRTechnology, servesContainersWhoseOsTemplateHasADot) {
    const auto plain = fakes::addContainer(m_platform, 102, "base");
    QXAEnvConfig config;
    QXATemplateTypeImpl::getVeConfig(m_eid, config);
    EXPECT_TRUE(m_technology.isVeCompatible(m_eid, config));
    QXATemplateTypeImpl::getVeConfig(plain, config);
    EXPECT_FALSE(m_technology.isVeCompatible(plain, config));
    EXPECT_FALSE(m_technology.isVeCompatible(m_eid, QXAEnvConfig()));
}

TEST_F(KRTechnology, findsLinuxPackagesAndKrTemplatesSuitable) {
    EXPECT_TRUE(m_technology.doesPackageSuitForOperationsInsideVE(rpm("sh")));
    EXPECT_TRUE(m_technology.doesPackageSuitForOperationsInsideVE(deb("sh")));
    EXPECT_TRUE(
        m_technology.doesPackageSuitForOperationsInsideVE(recordOf<QXL::QXLPackageLinux>("sh")));
    EXPECT_TRUE(m_technology.doesPackageSuitForOperationsInsideVE(osTemplate(".base")));
    EXPECT_TRUE(m_technology.doesPackageSuitForOperationsInsideVE(appTemplate(".web")));
    EXPECT_FALSE(m_technology.doesPackageSuitForOperationsInsideVE(standard("base")));
    EXPECT_FALSE(m_technology.doesPackageSuitForOperationsInsideVE(recordOf<QXL::QXLPackage>("x")));
    EXPECT_FALSE(m_technology.doesPackageSuitForOperationsInsideVE(nullptr));
}

TEST_F(KRTechnology, doesNotMigrate) {
    EXPECT_EQ(-1, m_technology.migrate(m_eid, {rpm("sh")}, options()));
}

// --- the number of a container

TEST_F(KRTechnology, namesAContainerByItsNumberAndTheNodeByNothing) {
    std::string veid = "before";
    EXPECT_EQ(0, getVeidString(m_eid, veid));
    EXPECT_EQ("101", veid);
    for (const auto& eid : {m_node, QXL::QXLEID::EID_INVALID, m_platform.localEid}) {
        veid = "before";
        EXPECT_EQ(0, getVeidString(eid, veid));
        EXPECT_EQ("", veid);
    }
}

TEST_F(KRTechnology, hasTheCodeOfAnEidThatNamesNoContainer) {
    std::string veid;
    EXPECT_EQ(317, getVeidString(m_unknown, veid));
    m_platform.environments[m_eid].type = "other";
    EXPECT_EQ(428, getVeidString(m_eid, veid));
    m_platform.hasCache = false;
    EXPECT_EQ(420, getVeidString(m_eid, veid));
}

TEST_F(KRTechnology, hasMinusOneForAContainerWithoutANumber) {
    m_platform.environments[m_eid].veidResult = 5;
    std::string veid;
    EXPECT_EQ(-1, getVeidString(m_eid, veid));
}

TEST_F(KRTechnology, passesTheNumber0OfAContainerToTheTool) {
    m_platform.environments[m_eid].veid = 0;
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid, {rpm("sh")}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [-q] [-p] [0] [sh]"));
}

// --- info

TEST_F(KRTechnology, infoOfStandardTemplatesOnlyDoesNothing) {
    EXPECT_EQ(0, m_technology.info(m_unknown, {standard("a")}, &m_out));
    EXPECT_EQ(0, m_technology.info(m_unknown, {}, &m_out));
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_THAT(m_platform.calls, IsEmpty());
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRTechnology, infoDescribesEachKrPackageInOrder) {
    m_qxtt.packageInfos = {{{.name = "sh"}}};
    EXPECT_EQ(0, m_technology.info(m_node,
                                   {osTemplate(".base"), standard("s"), rpm("sh", ".base"),
                                    appTemplate(".web", ".base")},
                                   &m_out));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", "sh (OS .base)", ".web (OS .base)"));
}

TEST_F(KRTechnology, infoOfATemplateInAContainerIsThatOfTheContainer) {
    EXPECT_EQ(0, m_technology.info(m_eid, {appTemplate(".web", ".base")}, &m_out));
    EXPECT_EQ(1U, m_qxtt.callsOf("qxtt_get_app_tmpl_info 101 .web").size());
}

TEST_F(KRTechnology, infoOnTheNodeAsksByTheOsTemplateWhateverTheNodesEid) {
    for (const auto& eid : {m_node, QXL::QXLEID::EID_INVALID, m_platform.localEid}) {
        EXPECT_EQ(0, m_technology.info(eid, {appTemplate(".web", ".base")}, &m_out));
    }
    EXPECT_EQ(3U, m_qxtt.callsOf("qxtt_get_app_tmpl_info .base .web").size());
}

TEST_F(KRTechnology, infoIs1WhenAPackageCannotBeReadAndKeepsWhatItHas) {
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {0, -7};
    EXPECT_EQ(1, m_technology.info(m_node, {osTemplate(".a"), osTemplate(".b"), osTemplate(".c")},
                                   &m_out));
    EXPECT_EQ("Cannot get QX template '.b' info: error code -7", m_platform.errorMessage);
    EXPECT_THAT(textsOf(m_out), ElementsAre(".a"));
    EXPECT_EQ(2U, m_qxtt.callsOf("qxtt_get_os_tmpl_info").size());
}

TEST_F(KRTechnology, infoMakesRoomForWhatIsAskedForBeforeItReads) {
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {-7};
    m_out = {rpm("before")};
    EXPECT_EQ(1, m_technology.info(m_node, QXL::QXLPackageList(20, osTemplate(".a")), &m_out));
    EXPECT_LE(21U, m_out.capacity());
}

TEST_F(KRTechnology, infoOfAnUnknownEnvironmentIsMinusOne) {
    EXPECT_EQ(-1, m_technology.info(m_unknown, {rpm("sh", ".base")}, &m_out));
    EXPECT_EQ("can't get veid by eid 90000000-0000-0000-0000-000000000000",
              m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRTechnology, infoOfAContainerWithoutANumberIsMinusOne) {
    m_platform.environments[m_eid].veidResult = 5;
    EXPECT_EQ(-1, m_technology.info(m_eid, {rpm("sh", ".base")}, &m_out));
    EXPECT_EQ("can't get veid by eid " + m_eid.toString(), m_platform.errorMessage);
}

TEST_F(KRTechnology, infoWorksWithoutAnOutputListAndOverNullElements) {
    EXPECT_EQ(0, m_technology.info(m_node, {nullptr, osTemplate(".base")}, nullptr));
    EXPECT_EQ(0, m_technology.info(m_node, {nullptr}, &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

// --- installation into a container

TEST_F(KRTechnology, installsTemplatesBeforePackagesIntoAContainer) {
    run(0, {"httpd amd64 2.4"});
    run(0, {"Installed:", "sh amd64 5.1"});
    EXPECT_EQ(0, m_technology.installIntoVE(
                     m_eid,
                     {installation(rpm("sh")), installation(appTemplate(".web", ".base")),
                      installation(deb("ls")), installation(osTemplate(".base"))},
                     options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [install] [-q] [101] [.web] [.base]",
                                        "exec [qxpkg] [install] [-q] [-p] [101] [sh] [ls]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre("httpd 2.4", "sh 5.1"));
}

TEST_F(KRTechnology, handsNamesToTheToolAsTheyAre) {
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid,
                                           {rpm("-f"), rpm(".."), appTemplate("--web"), rpm(""),
                                            rpm("a b"), appTemplate("web"), rpm("-f")},
                                           options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [-q] [101] [--web] [web]",
                                        "exec [qxpkg] [remove] [-q] [-p] [101] [-f] [..] [] [a b] "
                                        "[-f]"));
}

TEST_F(KRTechnology, runsOneCommandWhenARequestHasOneKind) {
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, {installation(appTemplate(".web"))}, options(),
                                            &m_out));
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, {installation(rpm("sh"))}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [install] [-q] [101] [.web]",
                                        "exec [qxpkg] [install] [-q] [-p] [101] [sh]"));
}

TEST_F(KRTechnology, passesTheOptionsOfAnInstallation) {
    m_technology.installIntoVE(m_eid, {installation(rpm("sh"))}, options(15), &m_out);
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [install] [-q] [-C] [-n] [-f] [-p] [101] [sh]"));
}

TEST_F(KRTechnology, mapsTheCodesOfAnInstallationIntoAContainer) {
    for (const auto& [code, result] : {std::pair(27, 3510), {1, 3501}, {33, 3501}, {127, 3501}}) {
        run(code);
        EXPECT_EQ(result,
                  m_technology.installIntoVE(m_eid, {installation(rpm("sh"))}, options(), &m_out))
            << code;
    }
    EXPECT_EQ("' qxpkg install -q -p 101 sh' exec failed - reason", m_platform.errorMessage);
}

TEST_F(KRTechnology, installsNoPackagesAfterAFailureOfTheTemplates) {
    run(27, {"httpd amd64 2.4"});
    EXPECT_EQ(3510, m_technology.installIntoVE(
                        m_eid, {installation(rpm("sh")), installation(appTemplate(".web"))},
                        options(), &m_out));
    EXPECT_EQ(1U, commands().size());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, addsNoRecordsWhenTheSecondCommandFails) {
    run(0, {"httpd amd64 2.4"});
    run(1, {"sh amd64 5.1"});
    EXPECT_EQ(3501, m_technology.installIntoVE(
                        m_eid, {installation(rpm("sh")), installation(appTemplate(".web"))},
                        options(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, appendsRecordsToThoseOfTheCaller) {
    m_out = {rpm("before")};
    run(0, {"sh amd64 5.1"});
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, {installation(rpm("sh"))}, options(), &m_out));
    EXPECT_THAT(textsOf(m_out), ElementsAre("before", "sh 5.1"));
}

TEST_F(KRTechnology, installationIntoAnUnknownContainerIs3501) {
    EXPECT_EQ(3501,
              m_technology.installIntoVE(m_unknown, {installation(rpm("sh"))}, options(), &m_out));
    EXPECT_EQ("can't get veid by eid '90000000-0000-0000-0000-000000000000'",
              m_platform.errorMessage);
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(KRTechnology, changesWorkWithoutAnOutputList) {
    run(0, {"sh amd64 5.1"});
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, {installation(rpm("sh"))}, options(), nullptr));
    EXPECT_EQ(1U, commands().size());
}

TEST_F(KRTechnology, aRequestOfNothingButNullElementsIsNotAnEmptyOne) {
    EXPECT_EQ(0, m_technology.updateInVE(m_eid, {nullptr, file("/f")}, options(), &m_out));
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid, {nullptr}, options(), &m_out));
    EXPECT_EQ(0, m_technology.clean({nullptr}));
    EXPECT_THAT(commands(), IsEmpty());
}

// --- update and removal in a container

TEST_F(KRTechnology, updatesInAContainer) {
    run(0, {"httpd amd64 2.4"});
    run(0, {"sh amd64 5.1"});
    EXPECT_EQ(0, m_technology.updateInVE(
                     m_eid, {installation(rpm("sh")), installation(appTemplate(".web"))},
                     options(15), &m_out));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [update] [-q] [-C] [-n] [-f] [101] [.web]",
                            "exec [qxpkg] [update] [-q] [-C] [-n] [-f] [-p] [101] [sh]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre("httpd 2.4", "sh 5.1"));
}

TEST_F(KRTechnology, anEmptyUpdateInAContainerNamesNothing) {
    EXPECT_EQ(0, m_technology.updateInVE(m_eid, {}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [update] [-q] [-p] [101]"));
}

TEST_F(KRTechnology, removesFromAContainer) {
    run(0, {"httpd amd64 2.4"});
    run(0, {"sh amd64 5.1"});
    EXPECT_EQ(
        0, m_technology.removeFromVE(m_eid, {rpm("sh"), appTemplate(".web")}, options(15), &m_out));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [remove] [-q] [-n] [-w] [-f] [101] [.web]",
                            "exec [qxpkg] [remove] [-q] [-n] [-w] [-f] [-p] [101] [sh]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre("httpd 2.4", "sh 5.1"));
}

TEST_F(KRTechnology, passesTheCodesOfUpdatesAndRemovalsOn) {
    run(27);
    EXPECT_EQ(27, m_technology.updateInVE(m_eid, {installation(rpm("sh"))}, options(), &m_out));
    run(33);
    EXPECT_EQ(33, m_technology.updateInVE(m_eid, {}, options(), &m_out));
    run(5);
    EXPECT_EQ(5, m_technology.removeFromVE(m_eid, {appTemplate(".web")}, options(), &m_out));
    EXPECT_EQ(-1, m_technology.removeFromVE(m_unknown, {rpm("sh")}, options(), &m_out));
    EXPECT_EQ(-1, m_technology.updateInVE(m_unknown, {}, options(), &m_out));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, countsStandardTemplatesInAContainerAmongThePackages) {
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid, {standard("s"), appTemplate(".web"), rpm("sh")},
                                           options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [-q] [101] [.web]",
                                        "exec [qxpkg] [remove] [-q] [-p] [101] [s] [sh]"));
}

// --- fetch and clean

TEST_F(KRTechnology, fetchesAndCleansOnTheNodeWithoutANumber) {
    EXPECT_EQ(0, m_technology.fetch({rpm("sh"), appTemplate(".web"), standard("s")}));
    EXPECT_EQ(0, m_technology.clean({osTemplate(".base")}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [fetch] [-q] [.web]",
                                        "exec [qxpkg] [fetch] [-q] [-p] [sh]",
                                        "exec [qxpkg] [clean] [-q] [.base]"));
}

TEST_F(KRTechnology, fetchesAndCleansEverythingWithoutKrPackages) {
    EXPECT_EQ(0, m_technology.fetch({}));
    EXPECT_EQ(0, m_technology.clean({standard("s")}));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [fetch] [-q] [-p]", "exec [qxpkg] [clean] [-q] [-p]"));
}

TEST_F(KRTechnology, fetchesAndCleansWithoutAnEnvironmentCache) {
    m_platform.hasCache = false;
    EXPECT_EQ(0, m_technology.fetch({}));
    EXPECT_EQ(0, m_technology.clean({rpm("sh")}));
    EXPECT_EQ(2U, commands().size());
}

TEST_F(KRTechnology, passesTheCodesOfFetchAndCleanOn) {
    run(27);
    EXPECT_EQ(27, m_technology.fetch({rpm("sh")}));
    run(3);
    EXPECT_EQ(3, m_technology.clean({}));
    EXPECT_EQ("' qxpkg clean -q -p' exec failed - reason", m_platform.errorMessage);
}

// --- installation on the node

TEST_F(KRTechnology, installsFilesOnTheNodeAndBuildsTheCachesOfTheirOsTemplates) {
    run(0, {"base template", "base web", "other template"});
    EXPECT_EQ(0, m_technology.installOnNode({file("/a.pkg"), installation(osTemplate(".x")),
                                             installation(osTemplate(".y"), "/b.pkg")},
                                            options(15), &m_out));
    EXPECT_THAT(
        commands(),
        ElementsAre("exec [qxpkg] [install] [template] [-q] [-C] [-n] [-f] [/a.pkg] [/b.pkg]",
                    "exec [qxpkg] [create] [cache] [-q] [-f] [.base] [.other]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)", ".other"));
}

TEST_F(KRTechnology, buildsNoCacheWithoutAnOsTemplate) {
    run(0, {"base web"});
    EXPECT_EQ(0, m_technology.installOnNode({file("/a.pkg")}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [install] [template] [-q] [/a.pkg]"));
}

TEST_F(KRTechnology, installsNothingOnTheNodeWithoutFiles) {
    EXPECT_EQ(0, m_technology.installOnNode({installation(osTemplate(".base")), nullptr}, options(),
                                            &m_out));
    EXPECT_EQ(0, m_technology.installOnNode({}, options(), &m_out));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, mapsTheCodesOfAnInstallationOnTheNode) {
    for (const auto& [code, result] : {std::pair(27, 3510), {33, 3511}, {1, 3501}, {-1, 3501}}) {
        run(code, {"base template"});
        EXPECT_EQ(result, m_technology.installOnNode({file("/a.pkg")}, options(), &m_out)) << code;
    }
    EXPECT_EQ(4U, commands().size());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, aCacheThatCannotBeBuiltIs3501) {
    run(0, {"base template"});
    run(27, {}, "no repository");
    EXPECT_EQ(3501, m_technology.installOnNode({file("/a.pkg")}, options(), &m_out));
    EXPECT_EQ("' qxpkg create cache -q .base' exec failed - no repository",
              m_platform.errorMessage);
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, buildsTheCachesOfWhatTheCallersListHoldsToo) {
    m_out = {osTemplate(".before"), rpm("sh")};
    run(0, {"base template"});
    EXPECT_EQ(0, m_technology.installOnNode({file("/a.pkg")}, options(), &m_out));
    EXPECT_EQ("exec [qxpkg] [create] [cache] [-q] [.before] [.base]", commands().back());
    EXPECT_THAT(textsOf(m_out), ElementsAre(".before", "sh", ".base"));
}

TEST_F(KRTechnology, buildsTheCachesWithoutAnOutputListToo) {
    run(0, {"base template"});
    EXPECT_EQ(0, m_technology.installOnNode({file("/a.pkg")}, options(), nullptr));
    EXPECT_EQ("exec [qxpkg] [create] [cache] [-q] [.base]", commands().back());
}

// --- update on the node

TEST_F(KRTechnology, anEmptyUpdateOnTheNodeRenewsEveryCache) {
    EXPECT_EQ(0, m_technology.updateOnNode({}, options(), &m_out));
    EXPECT_EQ(0, m_technology.updateOnNode({}, options(15), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [update] [cache] [-q]",
                                        "exec [qxpkg] [update] [cache] [-q] [-f]"));
}

TEST_F(KRTechnology, passesTheCodeOfAnEmptyUpdateOnTheNodeOn) {
    run(27, {"base template"});
    EXPECT_EQ(27, m_technology.updateOnNode({}, options(), &m_out));
    EXPECT_EQ("' qxpkg update cache -q' exec failed - reason", m_platform.errorMessage);
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, updatesFilesOnTheNodeAndTheCachesOfOsTemplates) {
    run(0, {"base template", "base web"});
    EXPECT_EQ(0, m_technology.updateOnNode(
                     {file("/a.pkg"), installation(osTemplate(".other")),
                      installation(appTemplate(".db", ".base")), installation(rpm("sh"))},
                     options(15), &m_out));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [update] [template] [-q] [-C] [-n] [-f] [/a.pkg]",
                            "exec [qxpkg] [update] [cache] [-q] [-f] [.base] [.other]"));
    EXPECT_THAT(textsOf(m_out),
                ElementsAre(".base", ".web (OS .base)", ".other", ".db (OS .base)"));
}

TEST_F(KRTechnology, updatesOnTheNodeByNameAlone) {
    EXPECT_EQ(0, m_technology.updateOnNode({installation(osTemplate(".base"))}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [update] [cache] [-q] [.base]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base"));
}

TEST_F(KRTechnology, updatesNothingOnTheNodeForOthersPackages) {
    EXPECT_EQ(0, m_technology.updateOnNode({installation(standard("s")), installation(rpm("sh"))},
                                           options(), &m_out));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, failuresOfAnUpdateOnTheNodeAreMinusOne) {
    for (const int code : {27, 33, 1}) {
        run(code, {"base template"});
        EXPECT_EQ(-1, m_technology.updateOnNode({file("/a.pkg")}, options(), &m_out)) << code;
    }
    run(0, {"base template"});
    run(27);
    EXPECT_EQ(-1, m_technology.updateOnNode({file("/a.pkg")}, options(), &m_out));
    EXPECT_EQ(5U, commands().size());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRTechnology, updatesOnTheNodeWithoutAnOutputList) {
    EXPECT_EQ(0,
              m_technology.updateOnNode({installation(osTemplate(".base"))}, options(), nullptr));
    EXPECT_EQ(1U, commands().size());
}

}  // namespace
}  // namespace QXA
