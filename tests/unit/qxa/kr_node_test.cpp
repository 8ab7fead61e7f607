// The KR technology on the node: what it has the KR tool fetch, clean, install and update.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(KRTechnology, fetchesAndCleansByNamesAlone) {
    EXPECT_EQ(0, m_technology.fetch({detailed(rpm("sh", ".base"))}));
    EXPECT_EQ(0, m_technology.clean({detailed(osTemplate(".base"))}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [fetch] [-q] [-p] [sh]",
                                        "exec [qxpkg] [clean] [-q] [.base]"));
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

TEST_F(KRTechnology, updatesFilesWithoutAnOsTemplateAndNoCache) {
    run(0, {"base web"});
    EXPECT_EQ(0, m_technology.updateOnNode({file("/a.pkg")}, options(), &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [update] [template] [-q] [/a.pkg]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".web (OS .base)"));
}

TEST_F(KRTechnology, updatesOnTheNodeByNameAlone) {
    EXPECT_EQ(0, m_technology.updateOnNode({installation(detailed(osTemplate(".base")))}, options(),
                                           &m_out));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [update] [cache] [-q] [.base]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".base 9"));
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
