// What the KR technology serves and describes, and what it has the KR tool change in containers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxa/plugins/QXAPkg/QXAKRListing.h"
#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(KRTechnology, namesPackagesOfAContainerToTheToolByTheirNamesAlone) {
    const QXL::QXLPackageList records{detailed(rpm("sh", ".base")),
                                      detailed(appTemplate(".web", ".base"))};
    const QXL::QXLInstallationPackageList packages{installation(records[0]),
                                                   installation(records[1])};
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, packages, options(), &m_out));
    EXPECT_EQ(0, m_technology.updateInVE(m_eid, packages, options(), &m_out));
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid, records, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [install] [-q] [101] [.web]",
                                        "exec [qxpkg] [install] [-q] [-p] [101] [sh]",
                                        "exec [qxpkg] [update] [-q] [101] [.web]",
                                        "exec [qxpkg] [update] [-q] [-p] [101] [sh]",
                                        "exec [qxpkg] [remove] [-q] [101] [.web]",
                                        "exec [qxpkg] [remove] [-q] [-p] [101] [sh]"));
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

TEST_F(KRTechnology, anEmptyChangeInAContainerRunsTheToolAndNamesNothing) {
    EXPECT_EQ(0, m_technology.installIntoVE(m_eid, {}, options(), &m_out));
    EXPECT_EQ(0, m_technology.updateInVE(m_eid, {}, options(), &m_out));
    EXPECT_EQ(0, m_technology.removeFromVE(m_eid, {}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [install] [-q] [-p] [101]",
                                        "exec [qxpkg] [update] [-q] [-p] [101]",
                                        "exec [qxpkg] [remove] [-q] [-p] [101]"));
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

}  // namespace
}  // namespace QXA
