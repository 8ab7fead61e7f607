// The function objects of the KR technology.
#include "qxa/plugins/QXAPkg/QXAKRSearchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "qxa/plugins/QXAPkg/QXAPkgExec.h"
#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

QXAPackageListOptions optionsOf(std::vector<std::string> types, unsigned flags = 0,
                                bool all = false) {
    return {listOptions(std::move(types), flags), all, false};
}

// --- matching

class Searcher : public KRNode {
protected:
    static bool matches(const QXL::QXLPackageSP& requested, const QXL::QXLPackageSP& listed) {
        return KRTemplateSearcher(optionsOf({}))(requested, templateOf(listed));
    }
    static bool matchesCompatible(const QXL::QXLPackageSP& requested,
                                  const QXL::QXLPackageSP& listed) {
        return KRTemplateSearcher(optionsOf({}, 32))(requested, templateOf(listed));
    }
};

TEST_F(Searcher, comparesNamesAndOsNames) {
    EXPECT_TRUE(matches(appTemplate(".web", ".base"), appTemplate(".web", ".base")));
    EXPECT_FALSE(matches(appTemplate(".web", ".base"), appTemplate(".web", ".other")));
    EXPECT_FALSE(matches(appTemplate(".web", ".base"), appTemplate(".db", ".base")));
    EXPECT_TRUE(matches(osTemplate(".base"), osTemplate(".base")));
}

TEST_F(Searcher, comparesRecordsOfAnyClassAsTheyAre) {
    EXPECT_TRUE(matches(rpm(".web", ".base"), appTemplate(".web", ".base")));
    EXPECT_TRUE(matches(osTemplate(".base"), appTemplate(".base")));
}

TEST_F(Searcher, takesAnUnsetOsNameForAnEmptyOne) {
    auto requested = recordOf<QXAPackageQXTemplate>(".base");
    requested->os.osName = "";
    EXPECT_TRUE(matches(requested, osTemplate(".base")));
}

TEST_F(Searcher, matchesTheApplicationTemplatesOfAnOsTemplateOnlyWhenCompatible) {
    EXPECT_TRUE(matchesCompatible(osTemplate(".base"), appTemplate(".web", ".base")));
    EXPECT_FALSE(matches(osTemplate(".base"), appTemplate(".web", ".base")));
}

TEST_F(Searcher, matchesTheOsTemplateOfAnApplicationTemplateWhenCompatible) {
    EXPECT_TRUE(matchesCompatible(appTemplate(".web", ".base"), osTemplate(".base")));
    EXPECT_FALSE(matchesCompatible(appTemplate(".web", ".base"), osTemplate(".other")));
    EXPECT_FALSE(matchesCompatible(osTemplate(".other"), appTemplate(".web", ".base")));
}

TEST_F(Searcher, comparesTwoOfAKindAsTheyAreWhenCompatible) {
    EXPECT_TRUE(matchesCompatible(appTemplate(".web", ".base"), appTemplate(".web", ".base")));
    EXPECT_FALSE(matchesCompatible(appTemplate(".web", ".base"), appTemplate(".db", ".base")));
    EXPECT_FALSE(matchesCompatible(osTemplate(".a"), osTemplate(".b")));
}

TEST_F(Searcher, matchesNothingElseThanTemplatesWhenCompatible) {
    EXPECT_FALSE(matchesCompatible(rpm(".web", ".base"), appTemplate(".web", ".base")));
    auto standardOs = recordOf<QXAPackageQXTemplateStd>(".base");
    standardOs->isOsTemplate = true;
    EXPECT_FALSE(matchesCompatible(standardOs, osTemplate(".base")));
}

TEST_F(Searcher, offersBothComparisonsWithoutAnObject) {
    const auto web = appTemplate(".web", ".base");
    const auto os = osTemplate(".base");
    EXPECT_TRUE(KRTemplateSearcher::matchKRTemplate(*rpm(".web", ".base"), *web));
    EXPECT_FALSE(KRTemplateSearcher::matchKRTemplate(*os, *web));
    EXPECT_TRUE(KRTemplateSearcher::matchCompatibleKRTemplate(templateOf(os), templateOf(web)));
}

TEST_F(Searcher, matchesNoNullRequest) {
    EXPECT_FALSE(matches(nullptr, osTemplate(".base")));
    EXPECT_FALSE(matchesCompatible(nullptr, osTemplate(".base")));
}

TEST_F(Searcher, namesTheOsTemplateThatATemplateIsOrBelongsTo) {
    EXPECT_EQ(".base", KRTemplateSearcher::getOSName(templateOf(osTemplate(".base"))));
    EXPECT_EQ(".base", KRTemplateSearcher::getOSName(templateOf(appTemplate(".web", ".base"))));
    EXPECT_EQ("", KRTemplateSearcher::getOSName(templateOf(appTemplate(".web"))));
}

// --- packages that are available

class RpmReader : public KRNode {
protected:
    /// Lists under the type "rpm": "available" when nothing is requested, "included" when not.
    QXL::QXLPackageList* available(const QXL::QXLPackageSP& package, unsigned flags = 0) {
        return PackageRPMListReader(optionsOf({"rpm"}, flags, true))(&m_out, package);
    }
    QXL::QXLPackageList* included(const QXL::QXLPackageSP& package, unsigned flags = 0) {
        return PackageRPMListReader(optionsOf({"rpm"}, flags))(&m_out, package);
    }
};

TEST_F(RpmReader, listsWhatAnOsTemplateOffers) {
    m_qxtt.templatePackages = {{{"sh", "amd64", "5.1", "a shell"}, {"ls", {}, {}, {}}}};
    EXPECT_EQ(&m_out, available(osTemplate(".base")));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base) 5.1", "ls (OS .base)"));
    EXPECT_EQ("amd64", m_out[0]->architecture);
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_THAT(m_qxtt.calls,
                ElementsAre("qxtt_set_default_options",
                            "qxtt_get_template_pkgs .base [default 4=0x0 8=0x1 100=0x700]"));
}

TEST_F(RpmReader, listsSummariesWhenItsOwnOptionsAskForThem) {
    m_qxtt.templatePackages = {{{"sh", "amd64", "5.1", "a shell"}}};
    EXPECT_EQ(&m_out, available(osTemplate(".base"), 16));
    EXPECT_EQ("a shell", m_out[0]->summary);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_template_pkgs .base [default 4=0x0 8=0x1 100=0x700]"));
}

TEST_F(RpmReader, stopsWithoutAMessageAtAnApplicationTemplate) {
    EXPECT_EQ(nullptr, available(appTemplate(".web", ".base")));
    EXPECT_EQ("", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"), IsEmpty());
}

TEST_F(RpmReader, givesTheCodesOfTheLibraryBack) {
    const PackageRPMListReader reader(optionsOf({"rpm"}));
    m_qxtt.codes["qxtt_get_template_pkgs"] = {12};
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {13};
    m_qxtt.codes["qxtt_get_app_tmpl_info"] = {14};
    EXPECT_EQ(12, reader.listAvailablePackageRPMs(templateOf(osTemplate(".base")), m_out));
    EXPECT_EQ("Cannot list KR template .base packages with 12", m_platform.errorMessage);
    EXPECT_EQ(13, reader.listIncludedPackageRPMs(templateOf(osTemplate(".base")), m_out));
    EXPECT_EQ("Cannot get KR OS template .base info with 13", m_platform.errorMessage);
    EXPECT_EQ(14, reader.listIncludedPackageRPMs(templateOf(appTemplate(".web", ".base")), m_out));
    EXPECT_EQ("Cannot get KR application template .web .base info with 14",
              m_platform.errorMessage);
    EXPECT_EQ(-1, reader.listAvailablePackageRPMs(templateOf(appTemplate(".web")), m_out));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(RpmReader, neverTakesNamesForFormats) {
    m_qxtt.codes["qxtt_get_template_pkgs"] = {12};
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {13};
    m_qxtt.codes["qxtt_get_app_tmpl_info"] = {14};
    available(osTemplate("%s%n"));
    EXPECT_EQ("Cannot list KR template %s%n packages with 12", m_platform.errorMessage);
    included(osTemplate("%s%n"));
    EXPECT_EQ("Cannot get KR OS template %s%n info with 13", m_platform.errorMessage);
    included(appTemplate("%s%n", "%d"));
    EXPECT_EQ("Cannot get KR application template %s%n %d info with 14", m_platform.errorMessage);
}

TEST_F(RpmReader, stopsAtAFailureOfTheLibrary) {
    m_qxtt.codes["qxtt_get_template_pkgs"] = {12};
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {13};
    EXPECT_EQ(nullptr, available(osTemplate(".base")));
    EXPECT_EQ(nullptr, included(osTemplate(".base")));
}

TEST_F(RpmReader, stopsAtANullArrayOfPackages) {
    EXPECT_EQ(nullptr, available(osTemplate(".base")));
}

TEST_F(RpmReader, storesTheNameOfATemplateDottedWithItsPackages) {
    m_qxtt.templatePackages = {{{"sh", {}, {}, {}}}};
    m_qxtt.templates["base"] = {.packages = Texts{"libc"}};
    EXPECT_EQ(&m_out, available(osTemplate("base")));
    EXPECT_EQ(&m_out, included(osTemplate("base")));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base)", "libc (OS .base)"));
}

TEST_F(RpmReader, goesOnAfterAnEmptyArray) {
    m_qxtt.templatePackages.emplace();
    EXPECT_EQ(&m_out, available(osTemplate(".base")));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(RpmReader, passesOverWhatIsNotAKrTemplate) {
    for (const auto& package : {rpm("sh", ".base"), standard("base"), QXL::QXLPackageSP()}) {
        EXPECT_EQ(&m_out, available(package));
        EXPECT_EQ(&m_out, included(package));
    }
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"), IsEmpty());
}

TEST_F(RpmReader, answersNullForANullListWithoutAsking) {
    const PackageRPMListReader reader(optionsOf({"rpm"}));
    EXPECT_EQ(nullptr, reader(nullptr, osTemplate(".base")));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"), IsEmpty());
}

TEST_F(RpmReader, asksNothingMoreAfterAFailureWhenItAccumulates) {
    const QXL::QXLPackageList requested{osTemplate(".a"), osTemplate(".b")};
    m_qxtt.codes["qxtt_get_template_pkgs"] = {12};
    EXPECT_EQ(nullptr, std::accumulate(requested.begin(), requested.end(), &m_out,
                                       PackageRPMListReader(optionsOf({"rpm"}, 0, true))));
    EXPECT_EQ(1U, m_qxtt.callsOf("qxtt_get").size());
}

// --- packages that a template includes

TEST_F(RpmReader, listsWhatAnOsTemplateIncludesInTheOrderOfTheFields) {
    m_qxtt.templates[".base"] = {.basePackages = Texts{"libc"},
                                 .lateBasePackages = Texts{"sh", "ls"},
                                 .packages = Texts{"all"}};
    EXPECT_EQ(&m_out, included(osTemplate(".base"), 16));
    EXPECT_THAT(textsOf(m_out),
                ElementsAre("all (OS .base)", "libc (OS .base)", "sh (OS .base)", "ls (OS .base)"));
    EXPECT_THAT(m_qxtt.calls,
                ElementsAre("qxtt_set_default_options",
                            "qxtt_get_os_tmpl_info .base [default 4=0x0 8=0x1 100=0x700]",
                            "qxtt_clean_tmpl_info"));
}

TEST_F(RpmReader, listsWhatAnApplicationTemplateIncludes) {
    m_qxtt.templates[".web"] = {.lateBasePackages = Texts{}, .packages = Texts{"httpd"}};
    EXPECT_EQ(&m_out, included(appTemplate(".web", ".base")));
    EXPECT_THAT(textsOf(m_out), ElementsAre("httpd (OS .base)"));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"),
                ElementsAre("qxtt_get_app_tmpl_info .base .web [default 4=0x0 8=0x1 100=0x700]"));
}

TEST_F(RpmReader, stopsWithoutTheTemplatesOwnListThoughTheOthersAreListed) {
    m_qxtt.templates[".web"] = {.basePackages = Texts{"libc"}, .lateBasePackages = Texts{"httpd"}};
    EXPECT_EQ(nullptr, included(appTemplate(".web", ".base")));
    EXPECT_THAT(textsOf(m_out), ElementsAre("libc (OS .base)", "httpd (OS .base)"));
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), ElementsAre("qxtt_clean_tmpl_info"));
}

TEST_F(RpmReader, goesOnWithoutTheOtherLists) {
    m_qxtt.templates[".base"] = {.packages = Texts{}};
    EXPECT_EQ(&m_out, included(osTemplate(".base")));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(RpmReader, stopsAtATemplateOfNowhere) {
    EXPECT_EQ(nullptr, included(appTemplate(".web")));
    EXPECT_EQ("Unknown OS template name", m_platform.errorMessage);
    m_platform.errorMessage.clear();
    EXPECT_EQ(nullptr, included(osTemplate("")));
    EXPECT_EQ("Unknown OS template name", m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get"), IsEmpty());
}

TEST_F(RpmReader, isAFlagAndTheOptions) {
    EXPECT_EQ(sizeof(std::uint32_t) + 120, sizeof(PackageRPMListReader));
}

// --- removal

class Remover : public KRNode {
protected:
    static bool remove(const QXL::QXLPackageSP& package, int flags = 0) {
        return QXTemplateRemover()(package,
                                   makeExecArguments("remove", flags, QXL::QXLEID::EID_LOCAL));
    }
};

TEST_F(Remover, namesAnApplicationTemplateAfterItsOsTemplate) {
    EXPECT_FALSE(remove(appTemplate(".web", ".base"), 8));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [remove] [template] [-q] [-f] [-F] [.base] [.web]"));
}

TEST_F(Remover, namesAnOsTemplateAlone) {
    EXPECT_FALSE(remove(osTemplate(".base")));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [template] [-q] [.base]"));
}

TEST_F(Remover, failsWhenTheToolDoes) {
    m_platform.execScripts = {{27, {}, "in use"}};
    EXPECT_TRUE(remove(osTemplate(".base")));
    EXPECT_EQ("' qxpkg remove template -q .base' exec failed - in use", m_platform.errorMessage);
}

TEST_F(Remover, failsForWhatIsNotAKrTemplate) {
    EXPECT_TRUE(remove(rpm("sh")));
    EXPECT_TRUE(remove(standard("base")));
    EXPECT_TRUE(remove(nullptr));
    EXPECT_THAT(commands(), IsEmpty());
}

// --- names of OS templates

TEST(OsNameWriter, collectsTheOsTemplatesInOrder) {
    const QXL::QXLPackageList mixed{osTemplate(".b"), rpm("sh"),        standard("s"),
                                    nullptr,          osTemplate(".a"), appTemplate(".w", ".c")};
    exec_argument_type names{"before"};
    EXPECT_EQ(&names, std::accumulate(mixed.begin(), mixed.end(), &names, PackageOsNameWriter()));
    EXPECT_THAT(names, ElementsAre("before", ".b", ".a"));
}

TEST(OsNameWriter, passesAStandardOsTemplateOver) {
    auto record = recordOf<QXAPackageQXTemplateStd>("s");
    record->isOsTemplate = true;
    exec_argument_type names;
    EXPECT_EQ(&names, PackageOsNameWriter()(&names, record));
    EXPECT_THAT(names, IsEmpty());
}

TEST(OsNameWriterDeathTest, needsADestination) {
    for (const auto& package : {osTemplate(".a"), rpm("sh"), QXL::QXLPackageSP()}) {
        EXPECT_DEATH(
            PackageOsNameWriter()(nullptr, package),
            testing::HasSubstr(
                "qxa/plugins/QXAPkg/QXAKRTemplateType:274: QXA::exec_argument_type* "
                "QXA::PackageOsNameWriter::operator()(QXA::exec_argument_type*, "
                "boost::shared_ptr<const QXL::QXLPackage>) const: Assertion `_dst' failed."));
    }
}

// --- packages to update by name

TEST(PackageForUpdate, isAKrTemplateWithoutAFile) {
    QXL::QXLPackageList out{rpm("before")};
    const auto os = osTemplate(".base");
    for (const auto& element :
         {installation(os), installation(appTemplate(".web", ".base")),
          installation(osTemplate(".file"), "/f"), file("/g"), installation(rpm("sh")),
          installation(standard("s")), QXL::QXLInstallationPackageSP()}) {
        EXPECT_EQ(&out, getPackageForUpdate(&out, element));
    }
    EXPECT_THAT(textsOf(out), ElementsAre("before", ".base", ".web (OS .base)"));
    EXPECT_EQ(os, out[1]);
}

TEST(PackageForUpdateDeathTest, needsADestination) {
    for (const auto& element : {installation(osTemplate(".a")), installation(rpm("sh")), file("/f"),
                                QXL::QXLInstallationPackageSP()}) {
        EXPECT_DEATH(
            getPackageForUpdate(nullptr, element),
            testing::HasSubstr("qxa/plugins/QXAPkg/QXAKRTemplateType:843: QXL::QXLPackageList* "
                               "QXA::getPackageForUpdate(QXL::QXLPackageList*, "
                               "const QXL::QXLInstallationPackageSP&): Assertion `_dst' failed."));
    }
}

}  // namespace
}  // namespace QXA
