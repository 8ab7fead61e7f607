// The information reader: one requested package, described by the template tools library.
#include "qxa/plugins/QXAPkg/QXAPackageInfoReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

// --- packages

class InfoReader : public KRNode {
protected:
    int read(const QXL::QXLPackageSP& package, const std::string& veid = "") {
        return PackageInfoReader(veid)(package, m_out);
    }
};

TEST_F(InfoReader, describesAPackageOutOfItsOsTemplate) {
    m_qxtt.packageInfos = {{{"shell", "5.1", "amd64", "a shell", Texts{"one", "two"}}}};
    EXPECT_EQ(0, read(rpm("sh", ".base")));
    ASSERT_EQ(1U, m_out.size());
    EXPECT_EQ("shell", m_out[0]->name);
    EXPECT_EQ("5.1", m_out[0]->version);
    EXPECT_EQ("amd64", m_out[0]->architecture);
    EXPECT_EQ("a shell", m_out[0]->summary);
    EXPECT_EQ("one\ntwo\n", m_out[0]->description);
    EXPECT_EQ("Linux", m_out[0]->os.platform);
    EXPECT_EQ(".base", m_out[0]->os.osName);
    EXPECT_THAT(m_qxtt.calls, ElementsAre("qxtt_get_pkg_info .base sh [zero 8=0x1 100=0xdd]",
                                          "qxtt_clean_pkg_info"));
}

TEST_F(InfoReader, asksForAPackageByItsOsTemplateInAContainerToo) {
    m_qxtt.packageInfos = {{{"sh", {}, {}, {}, {}}}};
    EXPECT_EQ(0, read(rpm("sh", "base"), "101"));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_pkg_info base sh [zero 8=0x1 100=0xdd]"));
    EXPECT_EQ(".base", m_out[0]->os.osName);
}

TEST_F(InfoReader, answersInTheClassOfTheRequest) {
    m_qxtt.packageInfos = {{{"sh", {}, {}, {}, {}}}};
    EXPECT_EQ(0, read(rpm("sh", ".base")));
    EXPECT_EQ(0, read(deb("sh", ".base")));
    EXPECT_NE(nullptr, dynamic_cast<const QXL::QXLPackageRpm*>(m_out[0].get()));
    EXPECT_NE(nullptr, dynamic_cast<const QXL::QXLPackageDeb*>(m_out[1].get()));
}

TEST_F(InfoReader, answersWithNothingElseOfTheRequestedPackage) {
    m_qxtt.packageInfos.emplace(1);
    EXPECT_EQ(0, read(detailed(rpm("sh", ".base"))));
    const auto& record = *m_out.at(0);
    EXPECT_EQ("", record.name);
    EXPECT_EQ("", record.version);
    EXPECT_EQ("", record.architecture);
    EXPECT_EQ("", record.summary);
    EXPECT_EQ("", record.description);
    EXPECT_EQ((QXL::QXLOS{"Linux", ".base", std::nullopt, std::nullopt}), record.os);
}

TEST_F(InfoReader, knowsNoEmptyRecordOfAnotherClass) {
    EXPECT_NE(nullptr, PackageInfoReader::getLinuxPackage(deb("a")));
    EXPECT_NE(nullptr, PackageInfoReader::getLinuxPackage(rpm("a")));
    EXPECT_EQ("", PackageInfoReader::getLinuxPackage(rpm("a"))->name);
    EXPECT_EQ(nullptr, PackageInfoReader::getLinuxPackage(recordOf<QXL::QXLPackageLinux>("a")));
    EXPECT_EQ(nullptr, PackageInfoReader::getLinuxPackage(recordOf<QXL::QXLPackage>("a")));
    EXPECT_EQ(nullptr, PackageInfoReader::getLinuxPackage(nullptr));
}

TEST_F(InfoReader, refusesAPackageWithoutAnOsName) {
    EXPECT_EQ(1, read(rpm("sh")));
    EXPECT_EQ("Unknown OS name for package 'sh'", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, refusesAPackageOfUnknownPackaging) {
    EXPECT_EQ(1, read(recordOf<QXL::QXLPackageLinux>("sh", ".base")));
    EXPECT_EQ("Unknown type for package 'sh'", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(InfoReader, looksAtTheOsNameBeforeThePackaging) {
    EXPECT_EQ(1, read(recordOf<QXL::QXLPackageLinux>("sh")));
    EXPECT_EQ("Unknown OS name for package 'sh'", m_platform.errorMessage);
}

TEST_F(InfoReader, releasesNothingWhenTheQueryFails) {
    m_qxtt.codes["qxtt_get_pkg_info"] = {-5};
    EXPECT_EQ(1, read(rpm("sh", ".base")));
    EXPECT_EQ("Cannot get package info for package 'sh' OS '.base'", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, releasesTheAnswerOfAPackageThatWasNotFound) {
    m_qxtt.packageInfos.emplace();
    EXPECT_EQ(1, read(rpm("sh", ".base")));
    EXPECT_EQ("Package 'sh' was not found", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), ElementsAre("qxtt_clean_pkg_info"));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, takesANullArrayForAPackageThatWasNotFound) {
    EXPECT_EQ(1, read(rpm("sh", ".base")));
    EXPECT_EQ("Package 'sh' was not found", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), ElementsAre("qxtt_clean_pkg_info"));
}

TEST_F(InfoReader, readsTheFirstOfSeveralPackages) {
    m_qxtt.packageInfos = {{{"first", {}, {}, {}, {}}, {"second", {}, {}, {}, {}}}};
    EXPECT_EQ(0, read(rpm("sh", ".base")));
    EXPECT_THAT(textsOf(m_out), ElementsAre("first (OS .base)"));
}

TEST_F(InfoReader, leavesEmptyWhatIsNotKnownOfAPackage) {
    m_qxtt.packageInfos.emplace(1);
    EXPECT_EQ(0, read(rpm("sh", ".base")));
    EXPECT_EQ("", m_out[0]->name);
    EXPECT_EQ("", m_out[0]->version);
    EXPECT_EQ("", m_out[0]->architecture);
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_EQ("", m_out[0]->description);
}

TEST_F(InfoReader, keepsWhatARecordHasWhereThePackageIsNotKnown) {
    QXL::QXLPackageRpm record;
    record.name = "name";
    record.description = "description";
    PackageInfoReader::parseLinuxPackageInfo(pkg_info{}, "base", record);
    EXPECT_EQ("name", record.name);
    EXPECT_EQ("description", record.description);
    EXPECT_EQ("Linux", record.os.platform);
    EXPECT_EQ(".base", record.os.osName);
}

TEST_F(InfoReader, takesADescriptionWithoutLinesForAnEmptyOne) {
    QXL::QXLPackageRpm record;
    record.description = "before";
    char* none[] = {nullptr};
    pkg_info info{};
    info.description = none;
    PackageInfoReader::parseLinuxPackageInfo(info, "base", record);
    EXPECT_EQ("", record.description);
}

TEST_F(InfoReader, passesANullRequestOver) {
    EXPECT_EQ(0, read(nullptr));
    EXPECT_THAT(m_out, IsEmpty());
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(InfoReader, neverTakesNamesForFormats) {
    EXPECT_EQ(1, read(rpm("%s%n")));
    EXPECT_EQ("Unknown OS name for package '%s%n'", m_platform.errorMessage);
    EXPECT_EQ(1, read(recordOf<QXL::QXLPackageLinux>("%s%n", ".base")));
    EXPECT_EQ("Unknown type for package '%s%n'", m_platform.errorMessage);
    EXPECT_EQ(1, read(rpm("%s%n", "%d")));
    EXPECT_EQ("Package '%s%n' was not found", m_platform.errorMessage);
    m_qxtt.codes["qxtt_get_pkg_info"] = {5};
    EXPECT_EQ(1, read(rpm("%s%n", "%d")));
    EXPECT_EQ("Cannot get package info for package '%s%n' OS '%d'", m_platform.errorMessage);
    EXPECT_EQ(1, read(appTemplate("%s%n")));
    EXPECT_EQ("Unknown OS name and eid for package '%s%n'", m_platform.errorMessage);
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {5};
    EXPECT_EQ(1, read(osTemplate("%s%n")));
    EXPECT_EQ("Cannot get QX template '%s%n' info: error code 5", m_platform.errorMessage);
}

// --- templates

TEST_F(InfoReader, describesAnOsTemplate) {
    m_qxtt.templates[".base"] = {.name = "base",
                                 .osName = "base",
                                 .architecture = "x86_64",
                                 .configPath = "/t/base",
                                 .summary = "an OS",
                                 .description = Texts{"one", "two"},
                                 .technologies = Texts{"x86_64", "nptl"},
                                 .cached = "yes"};
    EXPECT_EQ(0, read(osTemplate(".base")));
    ASSERT_EQ(1U, m_out.size());
    const auto& record = templateOf(m_out[0]);
    EXPECT_EQ(".base", record.name);
    EXPECT_TRUE(record.isOsTemplate);
    EXPECT_TRUE(record.versionFlag);
    EXPECT_EQ("x86_64", record.architecture);
    EXPECT_EQ("/t/base", record.detail);
    EXPECT_EQ("an OS", record.summary);
    EXPECT_EQ("one\ntwo\n", record.description);
    EXPECT_THAT(record.getTechnologyList(), ElementsAre("x86_64", "nptl"));
    EXPECT_EQ(".base", record.os.osName);
    EXPECT_EQ("Linux", record.os.platform);
    EXPECT_THAT(m_qxtt.calls, ElementsAre("qxtt_get_os_tmpl_info .base [zero 8=0x1 100=0xffff7]",
                                          "qxtt_clean_tmpl_info"));
}

TEST_F(InfoReader, asksForAnOsTemplateByNameInAContainerToo) {
    EXPECT_EQ(0, read(osTemplate(".base"), "101"));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_os_tmpl_info .base [zero 8=0x1 100=0xffff7]"));
}

TEST_F(InfoReader, asksForAnApplicationTemplateByItsOsTemplateOnTheNode) {
    EXPECT_EQ(0, read(appTemplate(".web", ".base")));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_app_tmpl_info .base .web [zero 8=0x1 100=0xffff7]"));
    EXPECT_FALSE(templateOf(m_out[0]).isOsTemplate);
}

TEST_F(InfoReader, asksForAnApplicationTemplateByTheContainer) {
    EXPECT_EQ(0, read(appTemplate(".web", ".base"), "101"));
    EXPECT_EQ(0, read(appTemplate(".web"), "101"));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_app_tmpl_info 101 .web [zero 8=0x1 100=0xffff7]",
                            "qxtt_get_app_tmpl_info 101 .web [zero 8=0x1 100=0xffff7]"));
}

TEST_F(InfoReader, refusesAnApplicationTemplateOfNowhere) {
    EXPECT_EQ(1, read(appTemplate(".web")));
    EXPECT_EQ("Unknown OS name and eid for package '.web'", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, needsNoOsNameForAnOsTemplate) {
    EXPECT_EQ(0, read(osTemplate(".base")));
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(InfoReader, releasesNothingWhenTheQueryForATemplateFails) {
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {-7};
    m_qxtt.codes["qxtt_get_app_tmpl_info"] = {9};
    EXPECT_EQ(1, read(osTemplate(".base")));
    EXPECT_EQ("Cannot get QX template '.base' info: error code -7", m_platform.errorMessage);
    EXPECT_EQ(1, read(appTemplate(".web", ".base")));
    EXPECT_EQ("Cannot get QX template '.web' info: error code 9", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, keepsWhatTheRequestHasWhereTheTemplateIsNotKnown) {
    auto requested = recordOf<QXAPackageQXTemplate>(".web", ".base");
    requested->versionFlag = true;
    requested->architecture = "x86_64";
    requested->summary = "summary";
    requested->description = "description";
    requested->detail = "detail";
    requested->setTechnologyList({"x86"});
    EXPECT_EQ(0, read(requested));
    const auto& record = templateOf(m_out[0]);
    EXPECT_EQ(".web", record.name);
    EXPECT_FALSE(record.versionFlag);
    EXPECT_EQ("x86_64", record.architecture);
    EXPECT_EQ("summary", record.summary);
    EXPECT_EQ("description", record.description);
    EXPECT_EQ("detail", record.detail);
    EXPECT_EQ(".base", record.os.osName);
    EXPECT_THAT(record.getTechnologyList(), ElementsAre("x86"));
    EXPECT_NE(requested.get(), m_out[0].get());
}

TEST_F(InfoReader, keepsTheKindOfTheTemplateThatItFills) {
    QXAPackageQXTemplate record;
    record.isOsTemplate = true;
    PackageInfoReader::parseQXTemplateInfo(tmpl_info{}, record);
    EXPECT_TRUE(record.isOsTemplate);
    EXPECT_EQ("Linux", record.os.platform);
    EXPECT_FALSE(record.os.osName.has_value());
}

TEST_F(InfoReader, answersEachKindOfRequestByItself) {
    const PackageInfoReader reader("");
    const auto os = osTemplate(".base");
    EXPECT_NE(nullptr, reader.getQXTemplateInfo(&templateOf(os)));
    EXPECT_EQ(nullptr, reader.getLinuxPackageInfo(rpm("sh", ".base")));
    m_qxtt.packageInfos = {{{.name = "sh"}}};
    EXPECT_NE(nullptr, reader.getLinuxPackageInfo(rpm("sh", ".base")));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(InfoReader, answersWithACopyOfTheRequestedTemplate) {
    auto requested = recordOf<QXAPackageQXTemplate>(".web", ".base");
    requested->version = "2";
    requested->status = true;
    requested->members = {rpm("p")};
    requested->os.osVersion = "9";
    EXPECT_EQ(0, read(requested));
    const auto& record = templateOf(m_out[0]);
    EXPECT_EQ("2", record.version);
    EXPECT_TRUE(record.status);
    EXPECT_THAT(textsOf(record.members), ElementsAre("p"));
    EXPECT_EQ("9", record.os.osVersion);
    EXPECT_EQ("Linux", record.os.platform);
}

TEST_F(InfoReader, asksForEveryTemplateRecordAsForATemplate) {
    EXPECT_EQ(0, read(standard("web"), "101"));
    EXPECT_EQ(1U, m_qxtt.callsOf("qxtt_get_app_tmpl_info 101 web").size());
}

TEST_F(InfoReader, setsTheFlagOnlyForTheTextYes) {
    m_qxtt.templates[".a"] = {.cached = "no"};
    m_qxtt.templates[".b"] = {.cached = "yes!"};
    m_qxtt.templates[".c"] = {.cached = "Yes"};
    for (const auto* name : {".a", ".b", ".c"}) {
        EXPECT_EQ(0, read(osTemplate(name)));
        EXPECT_FALSE(templateOf(m_out.back()).versionFlag) << name;
    }
}

TEST_F(InfoReader, takesAnOsNameThatIsKnownAndEmptyForWhatItIs) {
    m_qxtt.templates[".web"] = {.osName = ""};
    EXPECT_EQ(0, read(appTemplate(".web", ".base")));
    EXPECT_EQ("", m_out[0]->os.osName);
}

TEST_F(InfoReader, takesAnEmptyTechnologyListAndAnEmptyNameForWhatTheyAre) {
    auto requested = recordOf<QXAPackageQXTemplate>(".web", ".base");
    requested->setTechnologyList({"x86"});
    m_qxtt.templates[".web"] = {.name = "", .technologies = Texts{}};
    EXPECT_EQ(0, read(requested));
    EXPECT_EQ(".web", m_out[0]->name);
    EXPECT_THAT(templateOf(m_out[0]).getTechnologyList(), IsEmpty());
}

TEST_F(InfoReader, keepsWhatWasReadBeforeAFailure) {
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {0, -1};
    EXPECT_EQ(0, read(osTemplate(".a")));
    EXPECT_EQ(1, read(osTemplate(".b")));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".a"));
}

TEST_F(InfoReader, isCopiedWithItsContainer) {
    const PackageInfoReader reader("101");
    const auto copy = reader;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(0, copy(appTemplate(".web"), m_out));
    EXPECT_EQ(1U, m_qxtt.callsOf("qxtt_get_app_tmpl_info 101 .web").size());
}

}  // namespace
}  // namespace QXA
