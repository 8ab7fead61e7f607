// Listings of the KR technology, of the node and of containers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned kSummary = 16;
constexpr unsigned kCompatible = 32;

class KRListing : public KRTechnology {
protected:
    KRListing() { m_qxtt.veOsTemplate = ".base"; }

    int list(const QXL::QXLEID& eid, const QXL::QXLPackageList& requested,
             std::vector<std::string> types = {}, unsigned flags = 0) {
        return m_technology.list(eid, requested, listOptions(std::move(types), flags), &m_out);
    }
    int listNode(const QXL::QXLPackageList& requested, std::vector<std::string> types = {},
                 unsigned flags = 0) {
        return list(m_node, requested, std::move(types), flags);
    }

    /// An OS template ".base" with one application template, as a listing has them.
    static std::vector<fakes::QxttTemplate> baseAndWeb() {
        return {{.name = ".base", .isOs = true, .summary = "an OS", .cached = "yes"},
                {.name = ".web", .architecture = "x86_64", .summary = "a server"}};
    }
    void knowBase() {
        m_qxtt.osTemplates = {{".base"}};
        m_qxtt.templateLists[".base"] = baseAndWeb();
    }
    void knowOther() {
        m_qxtt.osTemplates->emplace_back(".other");
        m_qxtt.templateLists[".other"] = {{.name = ".other", .isOs = true}, {.name = ".web"}};
    }

    /// The library's queries, without options and releases.
    [[nodiscard]] std::vector<std::string> queries() const {
        std::vector<std::string> found;
        for (const auto& call : m_qxtt.callsOf("qxtt_get")) {
            found.push_back(call.substr(0, call.find(" [")));
        }
        return found;
    }
};

// --- the target and the request

TEST_F(KRListing, ofAnUnknownEnvironmentIsMinusOne) {
    EXPECT_EQ(-1, list(m_unknown, {standard("s")}));
    EXPECT_EQ("can't get veid by eid 90000000-0000-0000-0000-000000000000",
              m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRListing, ofAContainerWithoutANumberIsMinusOne) {
    m_platform.environments[m_eid].veidResult = 5;
    EXPECT_EQ(-1, list(m_eid, {}));
    EXPECT_EQ("can't get veid by eid " + m_eid.toString(), m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRListing, ofStandardTemplatesOnlyDoesNothing) {
    EXPECT_EQ(0, listNode({standard("s")}));
    EXPECT_EQ(0, list(m_eid, {standard("s")}, {"rpm", "os", "app"}));
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRListing, ofAContainerWithNumber0IsThatOfTheNode) {
    m_platform.environments[m_eid].veid = 0;
    knowBase();
    EXPECT_EQ(0, list(m_eid, {}));
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_all_base", "qxtt_get_templates_list .base"));
}

// --- templates of the node

TEST_F(KRListing, ofTheNodeHasEveryOsTemplateWithItsApplicationTemplates) {
    knowBase();
    knowOther();
    EXPECT_EQ(0, listNode({}));
    EXPECT_THAT(textsOf(m_out),
                ElementsAre(".base", ".web (OS .base)", ".other", ".web (OS .other)"));
    EXPECT_TRUE(templateOf(m_out[0]).isOsTemplate);
    EXPECT_TRUE(templateOf(m_out[0]).versionFlag);
    EXPECT_FALSE(templateOf(m_out[0]).status);
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_EQ("x86_64", m_out[1]->architecture);
    EXPECT_THAT(m_qxtt.calls,
                ElementsAre("qxtt_get_all_base", "qxtt_set_default_options",
                            "qxtt_get_templates_list .base [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_clean_templates_list",
                            "qxtt_get_templates_list .other [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_clean_templates_list"));
}

TEST_F(KRListing, ofTheNodeHasSummariesWhenTheyAreAskedFor) {
    knowBase();
    EXPECT_EQ(0, listNode({}, {}, kSummary));
    EXPECT_EQ("an OS", m_out[0]->summary);
    EXPECT_EQ("a server", m_out[1]->summary);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_get_templates_list"),
                ElementsAre("qxtt_get_templates_list .base [default 4=0x0 8=0x1 100=0x80051]"));
}

TEST_F(KRListing, ofOneKindLeavesTheOtherOut) {
    knowBase();
    EXPECT_EQ(0, listNode({}, {"os"}));
    EXPECT_EQ(0, listNode({}, {"app"}));
    EXPECT_EQ(0, listNode({}, {"os", "app"}));
    EXPECT_THAT(textsOf(m_out),
                ElementsAre(".base", ".web (OS .base)", ".base", ".web (OS .base)"));
}

TEST_F(KRListing, ofOneKindLeavesTheOtherOutWhenCompatibleToo) {
    knowBase();
    EXPECT_EQ(0, listNode({osTemplate(".base")}, {"os"}, kCompatible));
    EXPECT_EQ(0, listNode({osTemplate(".base")}, {"app"}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
}

TEST_F(KRListing, ofRequestedTemplatesHasThoseAlone) {
    knowBase();
    knowOther();
    EXPECT_EQ(0, listNode({appTemplate(".web", ".other"), standard("s"), nullptr,
                           osTemplate(".base"), osTemplate(".absent")}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .other)"));
}

TEST_F(KRListing, ofARequestedOsTemplateHasItsApplicationTemplatesWhenCompatible) {
    knowBase();
    knowOther();
    EXPECT_EQ(0, listNode({osTemplate(".base")}, {}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
    m_out.clear();
    EXPECT_EQ(0, listNode({osTemplate(".base")}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base"));
}

TEST_F(KRListing, ofARequestedApplicationTemplateHasItsOsTemplateWhenCompatible) {
    knowBase();
    knowOther();
    EXPECT_EQ(0, listNode({appTemplate(".web", ".base")}, {}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
}

TEST_F(KRListing, ofAllCompatibleOnTheNodeIsEmpty) {
    knowBase();
    EXPECT_EQ(0, listNode({}, {}, kCompatible));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRListing, ofANodeWithoutOsTemplatesIsEmpty) {
    EXPECT_EQ(0, listNode({}));
    m_qxtt.osTemplates.emplace();
    EXPECT_EQ(0, listNode({}));
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_all_base", "qxtt_get_all_base"));
}

TEST_F(KRListing, takesANullArrayOfTemplatesForNone) {
    m_qxtt.osTemplates = {{".gone", ".base"}};
    m_qxtt.templateLists[".base"] = baseAndWeb();
    EXPECT_EQ(0, listNode({}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
}

TEST_F(KRListing, skipsAnEntryWithoutARecord) {
    m_qxtt.osTemplates = {{".base"}};
    m_qxtt.templateLists[".base"] = {{.name = ".lost", .hasInfo = false}, {.name = ".web"}};
    EXPECT_EQ(0, listNode({}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".web (OS .base)"));
}

TEST_F(KRListing, asksForOsTemplatesAsTheyAreNamedAndStoresTheirNamesDotted) {
    m_qxtt.osTemplates = {{"base"}};
    m_qxtt.templateLists["base"] = {{.name = "base", .isOs = true}, {.name = "web"}};
    EXPECT_EQ(0, listNode({}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
}

TEST_F(KRListing, neverTakesNamesForFormats) {
    m_qxtt.osTemplates = {{"%s%n"}};
    m_qxtt.codes["qxtt_get_templates_list"] = {8};
    EXPECT_EQ(-1, listNode({}));
    EXPECT_EQ("Cannot list application templates of KR OS template %s%n with 8",
              m_platform.errorMessage);
}

TEST_F(KRListing, failsWhenTheOsTemplatesCannotBeNamed) {
    m_qxtt.codes["qxtt_get_all_base"] = {-3};
    EXPECT_EQ(-1, listNode({}));
    EXPECT_EQ("Cannot get list of KR OS templates with -3", m_platform.errorMessage);
}

TEST_F(KRListing, failsWhenAnOsTemplateCannotBeListedAndKeepsWhatItHas) {
    knowBase();
    knowOther();
    m_qxtt.codes["qxtt_get_templates_list"] = {0, 8};
    EXPECT_EQ(-1, listNode({}));
    EXPECT_EQ("Cannot list application templates of KR OS template .other with 8",
              m_platform.errorMessage);
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
}

// --- packages of the node

TEST_F(KRListing, ofPackagesOfRequestedTemplatesHasWhatTheyInclude) {
    m_qxtt.templates[".base"] = {.packages = {{"libc"}}};
    m_qxtt.templates[".web"] = {.packages = {{"httpd"}}};
    EXPECT_EQ(0, listNode({osTemplate(".base"), rpm("sh"), appTemplate(".web", ".base")}, {"rpm"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("libc (OS .base)", "httpd (OS .base)"));
    EXPECT_THAT(queries(),
                ElementsAre("qxtt_get_os_tmpl_info .base", "qxtt_get_app_tmpl_info .base .web"));
}

TEST_F(KRListing, ofCompatiblePackagesHasWhatTheOsTemplatesOffer) {
    m_qxtt.templatePackages = {{{"sh", {}, "5.1", {}}}};
    EXPECT_EQ(0, listNode({osTemplate(".base")}, {"rpm"}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base) 5.1"));
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_template_pkgs .base"));
}

TEST_F(KRListing, ofAllPackagesOfTheNodeIsEmpty) {
    EXPECT_EQ(0, listNode({}, {"rpm"}));
    EXPECT_THAT(queries(), IsEmpty());
}

TEST_F(KRListing, ofPackagesAndTemplatesHasBoth) {
    knowBase();
    m_qxtt.templates[".base"] = {.packages = {{"libc"}}};
    m_qxtt.templates[".web"] = {.packages = {{"httpd"}}};
    EXPECT_EQ(0, listNode({osTemplate(".base"), appTemplate(".web", ".base")}, {"rpm", "os"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("libc (OS .base)", "httpd (OS .base)", ".base"));
}

TEST_F(KRListing, keepsThePackagesOfTemplatesBeforeTheOneThatFails) {
    m_qxtt.templates[".a"] = {.packages = {{"libc"}}};
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {0, 6};
    EXPECT_EQ(-1, listNode({osTemplate(".a"), osTemplate(".b")}, {"rpm"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("libc (OS .a)"));
}

TEST_F(KRListing, failsWhenThePackagesOfATemplateCannotBeListed) {
    m_qxtt.codes["qxtt_get_os_tmpl_info"] = {6};
    EXPECT_EQ(-1, listNode({osTemplate(".a"), osTemplate(".b")}, {"rpm", "os"}));
    EXPECT_EQ("Cannot get KR OS template .a info with 6", m_platform.errorMessage);
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_os_tmpl_info .a"));
}

TEST_F(KRListing, ofTheNodeWithoutAnOutputListSkipsThePackages) {
    knowBase();
    EXPECT_EQ(0, m_technology.list(QXL::QXLEID::EID_LOCAL, {osTemplate(".base")},
                                   listOptions({"rpm", "os"}), nullptr));
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_all_base", "qxtt_get_templates_list .base"));
}

// --- packages of a container

TEST_F(KRListing, ofPackagesOfAContainerHasItsOwn) {
    m_qxtt.vePackages = {{{"sh", "amd64", "5.1", "a shell"}}};
    EXPECT_EQ(0, list(m_eid, {}, {"rpm"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base) 5.1"));
    EXPECT_EQ("", m_out[0]->summary);
    EXPECT_THAT(m_qxtt.calls,
                ElementsAre("qxtt_set_default_options",
                            "qxtt_get_ve_ostemplate 101 [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_set_default_options",
                            "qxtt_get_ve_pkgs 101 [default 4=0x0 8=0x1 44=0x1 100=0x80011]"));
}

TEST_F(KRListing, ofPackagesOfAContainerHasSummariesWhenTheyAreAskedFor) {
    m_qxtt.vePackages = {{{"sh", "amd64", "5.1", "a shell"}}};
    EXPECT_EQ(0, list(m_eid, {}, {"rpm"}, kSummary));
    EXPECT_EQ("a shell", m_out[0]->summary);
}

TEST_F(KRListing, ofIncludedPackagesInAContainerIsEmpty) {
    EXPECT_EQ(0, list(m_eid, {rpm("sh")}, {"rpm"}));
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRListing, ofRequestedOsTemplatesInAContainerIsEmpty) {
    EXPECT_EQ(0, list(m_eid, {osTemplate(".base")}, {"os"}));
    EXPECT_EQ(0, list(m_eid, {osTemplate(".base")}, {"os"}, kCompatible));
    EXPECT_EQ(0, list(m_eid, {osTemplate(".base")}, {"rpm", "os"}));
    EXPECT_THAT(m_qxtt.calls, IsEmpty());
}

TEST_F(KRListing, ofCompatiblePackagesInAContainerHasItsOwn) {
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    EXPECT_EQ(0, list(m_eid, {rpm("ls")}, {"rpm"}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base)"));
}

TEST_F(KRListing, failsWhenAContainersOsTemplateCannotBeNamed) {
    for (const auto* type : {"rpm", "os"}) {
        for (const unsigned flags : {0U, kCompatible}) {
            m_platform.errorMessage.clear();
            m_qxtt.codes["qxtt_get_ve_ostemplate"] = {4};
            EXPECT_EQ(-1, list(m_eid, {}, {type}, flags));
            EXPECT_EQ("Cannot get VEs 101 OS template name with 4", m_platform.errorMessage);
        }
    }
    EXPECT_EQ(4U, queries().size());
}

TEST_F(KRListing, failsWhenAContainersPackagesCannotBeListed) {
    m_qxtt.codes["qxtt_get_ve_pkgs"] = {9};
    EXPECT_EQ(-1, list(m_eid, {}, {"rpm", "os"}));
    EXPECT_EQ("Cannot get list of VEs 101 packages with 9", m_platform.errorMessage);
    EXPECT_THAT(queries(), ElementsAre("qxtt_get_ve_ostemplate 101", "qxtt_get_ve_pkgs 101"));
}

TEST_F(KRListing, failsWithoutAnArrayOfAContainersPackages) {
    EXPECT_EQ(-1, list(m_eid, {}, {"rpm", "os"}));
    EXPECT_EQ(2U, queries().size());
}

TEST_F(KRListing, takesANullOsTemplateNameForAnEmptyOne) {
    m_qxtt.veOsTemplate.reset();
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    EXPECT_EQ(0, list(m_eid, {}, {"rpm"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh"));
}

TEST_F(KRListing, takesAnOsTemplateNameWithoutADot) {
    m_qxtt.veOsTemplate = "base";
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    EXPECT_EQ(0, list(m_eid, {}, {"rpm"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base)"));
}

// --- templates of a container

TEST_F(KRListing, ofAContainerHasItsInstalledTemplates) {
    m_qxtt.veTemplates = baseAndWeb();
    EXPECT_EQ(0, list(m_eid, {}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
    EXPECT_THAT(
        m_qxtt.calls,
        ElementsAre("qxtt_set_default_options",
                    "qxtt_get_ve_ostemplate 101 [default 4=0x0 8=0x1 100=0x80011]",
                    "qxtt_set_default_options",
                    "qxtt_get_ve_templates_list 101 [default 4=0x0 8=0x1 28=0x1 100=0x80011]",
                    "qxtt_get_ve_status 101 [default 4=0x0 8=0x1 28=0x1 100=0x80011]",
                    "qxtt_clean_templates_list"));
}

TEST_F(KRListing, ofAContainerIsFilteredByKindAndRequest) {
    m_qxtt.veTemplates = baseAndWeb();
    EXPECT_EQ(0, list(m_eid, {}, {"app"}));
    EXPECT_EQ(0, list(m_eid, {appTemplate(".web", ".base")}, {"app"}));
    EXPECT_EQ(0, list(m_eid, {appTemplate(".db", ".base")}, {"app"}));
    EXPECT_EQ(0, list(m_eid, {osTemplate(".base")}));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".web (OS .base)", ".web (OS .base)", ".base"));
}

TEST_F(KRListing, ofAContainerHasSummariesWhenTheyAreAskedFor) {
    m_qxtt.veTemplates = baseAndWeb();
    EXPECT_EQ(0, list(m_eid, {}, {}, kSummary));
    EXPECT_EQ("an OS", m_out[0]->summary);
}

TEST_F(KRListing, ofInstalledTemplatesHasTheStatusOfAContainerWithoutWork) {
    m_qxtt.veTemplates = baseAndWeb();
    for (const auto& [status, flag] : {std::pair(-1, false), {0, true}, {1, false}}) {
        m_qxtt.veStatus = status;
        m_out.clear();
        EXPECT_EQ(0, list(m_eid, {}));
        EXPECT_EQ(flag, templateOf(m_out.at(0)).status) << status;
        EXPECT_EQ(flag, templateOf(m_out.at(1)).status) << status;
    }
}

TEST_F(KRListing, ofCompatibleTemplatesHasTheOppositeStatus) {
    m_qxtt.templateLists["base"] = baseAndWeb();
    for (const auto& [status, flag] : {std::pair(-1, false), {0, false}, {1, true}}) {
        m_qxtt.veStatus = status;
        m_out.clear();
        EXPECT_EQ(0, list(m_eid, {}, {}, kCompatible));
        EXPECT_EQ(flag, templateOf(m_out.at(0)).status) << status;
    }
}

TEST_F(KRListing, ofCompatibleTemplatesHasAllOfTheOsTemplateWhateverIsRequested) {
    m_qxtt.templateLists["base"] = baseAndWeb();
    EXPECT_EQ(0, list(m_eid, {appTemplate(".other", ".base")}, {"os", "app"}, kCompatible));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
    EXPECT_THAT(m_qxtt.calls,
                ElementsAre("qxtt_set_default_options",
                            "qxtt_get_ve_ostemplate 101 [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_set_default_options",
                            "qxtt_get_ve_status 101 [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_get_templates_list base [default 4=0x0 8=0x1 100=0x80011]",
                            "qxtt_clean_templates_list"));
}

TEST_F(KRListing, ofCompatibleTemplatesOfOneKindHasBothKinds) {
    m_qxtt.templateLists["base"] = baseAndWeb();
    for (const auto* kind : {"app", "os"}) {
        m_out.clear();
        EXPECT_EQ(0, list(m_eid, {}, {kind}, kCompatible | kSummary));
        EXPECT_THAT(textsOf(m_out), ElementsAre(".base", ".web (OS .base)"));
        EXPECT_EQ("an OS", m_out[0]->summary);
    }
}

TEST_F(KRListing, ofPackagesAndTemplatesOfAContainerHasBoth) {
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    m_qxtt.veTemplates = baseAndWeb();
    EXPECT_EQ(0, list(m_eid, {}, {"rpm", "app"}));
    EXPECT_EQ(0, list(m_eid, {}, {"rpm", "os"}));
    EXPECT_THAT(textsOf(m_out),
                ElementsAre("sh (OS .base)", ".web (OS .base)", "sh (OS .base)", ".base"));
}

TEST_F(KRListing, failsWhenAContainersTemplatesCannotBeListed) {
    m_qxtt.codes["qxtt_get_ve_templates_list"] = {11};
    EXPECT_EQ(-1, list(m_eid, {}));
    EXPECT_EQ("Cannot get list of VEs 101 application templates with 11", m_platform.errorMessage);
    m_qxtt.codes["qxtt_get_templates_list"] = {12};
    EXPECT_EQ(-1, list(m_eid, {}, {}, kCompatible));
    EXPECT_EQ("Cannot list application templates of KR OS template base with 12",
              m_platform.errorMessage);
    EXPECT_THAT(m_qxtt.callsOf("qxtt_clean"), IsEmpty());
}

TEST_F(KRListing, keepsThePackagesOfAContainerWhenItsTemplatesCannotBeListed) {
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    m_qxtt.codes["qxtt_get_ve_templates_list"] = {11};
    EXPECT_EQ(-1, list(m_eid, {}, {"rpm", "os"}));
    EXPECT_THAT(textsOf(m_out), ElementsAre("sh (OS .base)"));
}

TEST_F(KRListing, takesANullArrayOfAContainersTemplatesForNone) {
    EXPECT_EQ(0, list(m_eid, {}));
    EXPECT_EQ(0, list(m_eid, {}, {}, kCompatible));
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRListing, ofAContainerWorksWithoutAnOutputList) {
    m_qxtt.vePackages = {{{"sh", {}, {}, {}}}};
    m_qxtt.veTemplates = baseAndWeb();
    m_qxtt.templateLists["base"] = baseAndWeb();
    EXPECT_EQ(0, m_technology.list(m_eid, {}, listOptions({"rpm", "os"}), nullptr));
    EXPECT_EQ(0, m_technology.list(m_eid, {}, listOptions({"os"}, kCompatible), nullptr));
    EXPECT_EQ(8U, queries().size());
}

}  // namespace
}  // namespace QXA
