// How engines' answers are read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "node/qxpkg/engine/deb/engine.h"
#include "node/qxpkg/engine/deb/report.h"
#include "node/qxpkg/engine/engine_run.h"
#include "node/qxpkg/engine/rpm/engine.h"
#include "node/qxpkg/engine/rpm/report.h"

namespace qxpkg {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

template <typename Report>
std::string reasonOf(const std::vector<std::string>& lines) {
    Report report;
    for (const std::string& line : lines) {
        report.line(line);
    }
    return report.reason();
}

TEST(DpkgState, ofAPackageInOrderIsComplete) {
    Package package;

    ASSERT_TRUE(readDpkgState("ii ", package));

    EXPECT_EQ(package, (Package{"", "", "", true}));
}

TEST(DpkgState, whatIsUnpackedOrConfiguredInPartIsIncomplete) {
    for (const char* state : {"iU ", "iF ", "iH ", "iHR", "iW ", "it ", "iiR"}) {
        Package package;
        ASSERT_TRUE(readDpkgState(state, package)) << state;
        EXPECT_FALSE(package.complete) << state;
    }
}

TEST(DpkgState, aRemovalThatDidNotEndIsNoBrokenInstallation) {
    Package package;

    ASSERT_TRUE(readDpkgState("rHR", package));

    EXPECT_TRUE(package.removing);
    EXPECT_FALSE(package.broken);
}

TEST(DpkgState, onlyANewCopyHelpsWhatIsHalfInstalledOrMarkedSo) {
    Package package;

    ASSERT_TRUE(readDpkgState("iH ", package));
    EXPECT_TRUE(package.broken);
    ASSERT_TRUE(readDpkgState("iUR", package));
    EXPECT_TRUE(package.broken);
    ASSERT_TRUE(readDpkgState("iU ", package));
    EXPECT_FALSE(package.broken);
}

TEST(DpkgState, aPurgeThatDidNotEndIsSeenThoughThePackageIsGone) {
    EXPECT_TRUE(isHalfPurged("pcR"));
    for (const char* line : {"pc ", "rc ", "iiR", "", "pc"}) {
        EXPECT_FALSE(isHalfPurged(line)) << line;
    }
}

TEST(DpkgState, ofRemovedPackagesAndOtherTextsAreNone) {
    Package package;
    for (const char* line : {"rc ", "un ", "", "x"}) {
        EXPECT_FALSE(readDpkgState(line, package)) << line;
    }
}

TEST(AptPlanLine, anInstallationGivesNewVersionAndArchitecture) {
    Package package;

    ASSERT_TRUE(parseAptPlanLine("Inst one (1.0 localhost [all])", package));
    EXPECT_EQ(package, (Package{"one", "all", "1.0", true}));
    ASSERT_TRUE(parseAptPlanLine("Inst one [1.0] (1.1 localhost [amd64]) []", package));
    EXPECT_EQ(package.version, "1.1");
}

TEST(AptPlanLine, aRemovalGivesTheOldVersion) {
    Package package;

    ASSERT_TRUE(parseAptPlanLine("Remv one [1.0]", package));

    EXPECT_EQ(package, (Package{"one", "", "1.0", true}));
}

TEST(AptPlanLine, otherLinesAreNone) {
    Package package;
    for (const char* line :
         {"Conf one (1.0 localhost [all])", "", "Inst", "Inst one", "Inst one [1]"}) {
        EXPECT_FALSE(parseAptPlanLine(line, package)) << line;
    }
}

TEST(DebReport, aFailingScriptIsNamedWithItsPackage) {
    const std::string why =
        "installed bad package post-installation script subprocess returned error exit status 3";

    EXPECT_EQ(reasonOf<DebReport>({"Setting up bad (1.0) ...", "about to fail",
                                   "dpkg: error processing package bad (--configure):", " " + why,
                                   "E: Sub-process /usr/bin/dpkg returned an error code (1)"}),
              "package 'bad': " + why);
}

TEST(DebReport, anArchiveIsNamedByItsFile) {
    EXPECT_EQ(reasonOf<DebReport>({"dpkg: error processing archive /var/x/a_1_all.deb (--unpack):",
                                   " cannot copy extracted data: No space left on device"}),
              "archive 'a_1_all.deb': cannot copy extracted data: No space left on device");
}

TEST(DebReport, unmetDependenciesCountMoreThanTheSummary) {
    EXPECT_EQ(
        reasonOf<DebReport>({" lost : Depends: nothere but it is not installable",
                             "E: Unable to correct problems, you have held broken packages."}),
        "lost : Depends: nothere but it is not installable");
}

TEST(DebReport, elseTheFirstErrorIsTheReason) {
    EXPECT_EQ(reasonOf<DebReport>({"E: Unable to locate package x", "E: another"}),
              "Unable to locate package x");
    EXPECT_EQ(reasonOf<DebReport>({"all is well"}), "");
}

TEST(DebReport, aScriptThatPrintsWithoutEndMakesNoReasonWithoutEnd) {
    DebReport report;
    for (int i = 0; i < 1000; ++i) {
        report.line("dpkg: error processing package p" + std::to_string(i) + " (--configure):");
        report.line(std::string(10000, 'x'));
    }

    EXPECT_LT(report.reason().size(), 5000U);
    EXPECT_THAT(report.reason(), StartsWith("package 'p0': xxx"));
    EXPECT_THAT(report.reason(), EndsWith("...; and 992 more"));
}

TEST(RpmReport, aScriptThatPrintsWithoutEndMakesNoReasonWithoutEnd) {
    RpmReport report;
    for (int i = 0; i < 1000; ++i) {
        report.line("error: " + std::string(10000, 'x'));
    }

    EXPECT_LT(report.reason().size(), 5000U);
    EXPECT_THAT(report.reason(), EndsWith("...; and 992 more"));
}

TEST(RpmReport, everyPackageOfAFailingScriptCountsOnce) {
    RpmReport report;
    for (int i = 0; i < 20; ++i) {
        const std::string name = "p" + std::to_string(i % 10);
        report.line("warning: %post(" + name + "-1-1.noarch) scriptlet failed, exit status 3");
    }

    EXPECT_EQ(report.failedPackages().size(), 10U);
}

TEST(LastWords, areTheEnginesLastLineElseItsExitCode) {
    EngineResult said;
    said.code = 2;
    said.tail = {"first", "dpkg-query: error: no database"};
    EngineResult silent;
    silent.code = 2;

    EXPECT_EQ(lastWords(said), "dpkg-query: error: no database");
    EXPECT_EQ(lastWords(silent), "exit code 2");
}

TEST(RpmReport, aFailingScriptCountsAndIsNamed) {
    RpmReport report;
    report.line("about to fail");
    report.line("warning: %post(bad-tool-1.0-1.noarch) scriptlet failed, exit status 3");

    EXPECT_TRUE(report.scriptFailed());
    EXPECT_THAT(report.failedPackages(), ElementsAre("bad-tool"));
    EXPECT_EQ(report.reason(), "package 'bad-tool': %post script failed, exit status 3");
}

TEST(RpmReport, problemsBelowAnErrorAreItsReason) {
    EXPECT_EQ(reasonOf<RpmReport>({"Error: ", " Problem: conflicting requests",
                                   "  - nothing provides nothere needed by lost-1.0-1.noarch"}),
              "conflicting requests; nothing provides nothere needed by lost-1.0-1.noarch");
}

TEST(RpmReport, anErrorOnOneLineIsTheReason) {
    EXPECT_EQ(reasonOf<RpmReport>({"Error: Unable to find a match: nosuch"}),
              "Unable to find a match: nosuch");
    EXPECT_EQ(reasonOf<RpmReport>({"Complete!"}), "");
}

TEST(RpmReport, aRepositoryWithoutAKeyIsNamed) {
    EXPECT_EQ(reasonOf<RpmReport>({"Problem repository: [qx0]"}),
              "no key to check the signatures of repository [qx0]");
}

TEST(RpmNoise, settingsOfARepositoryAreNotShownAndTheNextLineIs) {
    RpmNoise isNoise;

    EXPECT_FALSE(isNoise("password: not yet"));
    EXPECT_FALSE(isNoise("Problem repository: [qx0]"));
    EXPECT_TRUE(isNoise("password: secret"));
    EXPECT_TRUE(isNoise("proxy_password: "));
    EXPECT_FALSE(isNoise("The downloaded packages were saved"));
    EXPECT_FALSE(isNoise("error: another"));
}

TEST(RpmNoise, adviceOfDebiansBuildIsNotShown) {
    RpmNoise isNoise;

    EXPECT_TRUE(isNoise("rpm: RPM should not be used directly install RPM packages, use Alien!"));
    EXPECT_FALSE(isNoise("rpm: something else"));
}

TEST(RpmReport, namesMayHoldDashes) {
    EXPECT_EQ(rpmNameOf("a-b-c-1.0-2.noarch"), "a-b-c");
    EXPECT_EQ(rpmNameOf("plain"), "plain");
    EXPECT_EQ(rpmNameOf("-1"), "-1");
}

TEST(DnfPlan, theTableGivesNamesAlsoWhereTheyAreTooWide) {
    DnfPlan plan;
    for (const char* line :
         {"Dependencies resolved.", "=====",
          " Package            Architecture       Version            Repository       Size",
          "=====", "Installing:",
          " two                noarch             1.0-1              qx0   5.9 k",
          "Installing dependencies:", " a-name-that-is-too-wide-for-its-column",
          "                    noarch             1:2.0-1            qx0   5.9 k", "",
          "Transaction Summary", " Install  2 Packages of three"}) {
        plan.line(line);
    }

    EXPECT_THAT(plan.packages(), ElementsAre(Package{"two", "noarch", "1.0-1", true},
                                             Package{"a-name-that-is-too-wide-for-its-column",
                                                     "noarch", "1:2.0-1", true}));
}

}  // namespace
}  // namespace qxpkg
