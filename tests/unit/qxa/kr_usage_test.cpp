// Removal of KR templates from the node: what a container uses stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/qxa/kr_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KRRemoval : public KRNode {
protected:
    fakes::Environment& container(int veid, const std::string& os,
                                  std::vector<QXATemplate> templates = {}) {
        auto& environment = m_platform.environments[fakes::addContainer(m_platform, veid, os)];
        environment.templates = std::move(templates);
        return environment;
    }

    int remove(const QXL::QXLPackageList& packages, unsigned flags = 0) {
        return m_technology.removeFromNode(packages, options(flags), &m_out);
    }

    /// @return the message of a removal that was refused before any command ran.
    std::string refusal(const QXL::QXLPackageList& packages) {
        EXPECT_EQ(-1, remove(packages));
        EXPECT_THAT(commands(), IsEmpty());
        EXPECT_THAT(m_out, IsEmpty());
        return m_platform.errorMessage;
    }

    QXAKRTemplateImpl m_technology;
};

// --- commands

TEST_F(KRRemoval, ofStandardTemplatesOnlyDoesNothing) {
    EXPECT_EQ(0, remove({standard("a"), nullptr}));
    EXPECT_EQ(0, remove({}));
    EXPECT_THAT(m_platform.calls, IsEmpty());
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRRemoval, takesApplicationTemplatesOneByOneAndThenTheOsTemplates) {
    EXPECT_EQ(0, remove({osTemplate(".b"), appTemplate(".web", ".b"), standard("s"),
                         osTemplate(".a"), appTemplate(".db", ".b")}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [template] [-q] [-F] [.b] [.web]",
                                        "exec [qxpkg] [remove] [template] [-q] [-F] [.b] [.db]",
                                        "exec [qxpkg] [remove] [template] [-q] [.b] [.a]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".web (OS .b)", ".db (OS .b)", ".b", ".a"));
}

TEST_F(KRRemoval, passesItsOptions) {
    EXPECT_EQ(0, remove({osTemplate(".b"), appTemplate(".web", ".b")}, 15));
    EXPECT_THAT(commands(),
                ElementsAre("exec [qxpkg] [remove] [template] [-q] [-n] [-w] [-f] [-F] [.b] [.web]",
                            "exec [qxpkg] [remove] [template] [-q] [-n] [-w] [-f] [.b]"));
}

TEST_F(KRRemoval, namesTemplatesToTheToolByTheirNamesAlone) {
    EXPECT_EQ(0, remove({detailed(osTemplate(".b")), detailed(appTemplate(".web", ".b"))}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [template] [-q] [-F] [.b] [.web]",
                                        "exec [qxpkg] [remove] [template] [-q] [.b]"));
}

TEST_F(KRRemoval, ofApplicationTemplatesRunsNoOtherCommand) {
    EXPECT_EQ(0, remove({appTemplate(".web", ".b")}));
    EXPECT_EQ(1U, commands().size());
}

TEST_F(KRRemoval, stopsAtTheFirstFailureAndReportsNoRecords) {
    m_platform.execScripts = {{0, {}, ""}, {27, {}, "in use"}};
    EXPECT_EQ(-1, remove({appTemplate(".a", ".b"), appTemplate(".c", ".b"), appTemplate(".d", ".b"),
                          osTemplate(".b")}));
    EXPECT_EQ(2U, commands().size());
    EXPECT_EQ("' qxpkg remove template -q -F .b .c' exec failed - in use", m_platform.errorMessage);
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRRemoval, thatFailsForTheOsTemplatesReportsNoRecords) {
    m_platform.execScripts = {{5, {}, "why"}};
    EXPECT_EQ(-1, remove({osTemplate(".b"), osTemplate(".a")}));
    EXPECT_EQ("' qxpkg remove template -q .b .a' exec failed - why", m_platform.errorMessage);
    EXPECT_THAT(m_out, IsEmpty());
}

TEST_F(KRRemoval, reportsOtherPackagesWithoutACommandForThem) {
    EXPECT_EQ(0, remove({rpm("sh", ".b"), appTemplate(".web", ".b"), osTemplate(".b")}));
    EXPECT_THAT(commands(), ElementsAre("exec [qxpkg] [remove] [template] [-q] [-F] [.b] [.web]",
                                        "exec [qxpkg] [remove] [template] [-q] [.b]"));
    EXPECT_THAT(textsOf(m_out), ElementsAre(".web (OS .b)", "sh (OS .b)", ".b"));
    m_platform.calls.clear();
    EXPECT_EQ(0, remove({rpm("sh", ".b")}));
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(KRRemoval, worksWithoutAnOutputList) {
    EXPECT_EQ(0, m_technology.removeFromNode({osTemplate(".b")}, options(), nullptr));
    EXPECT_EQ(1U, commands().size());
}

// --- what containers use

TEST_F(KRRemoval, isRefusedWithoutACache) {
    m_platform.hasCache = false;
    EXPECT_EQ("the environment cache is not accessible", refusal({osTemplate(".b")}));
}

TEST_F(KRRemoval, isRefusedWithoutAList) {
    m_platform.hasList = false;
    EXPECT_EQ("cannot fetch the environments list", refusal({osTemplate(".b")}));
}

TEST_F(KRRemoval, isRefusedForAnOsTemplateOfAContainer) {
    container(101, ".b");
    EXPECT_EQ("some Containers use package(s) .b", refusal({osTemplate(".a"), osTemplate(".b")}));
    EXPECT_EQ(0, remove({osTemplate(".a")}));
}

TEST_F(KRRemoval, isRefusedForAnApplicationTemplateOfAContainer) {
    container(101, ".b", {{".web", ""}});
    EXPECT_EQ("some Containers use package(s) .web (OS .b)", refusal({appTemplate(".web", ".b")}));
}

TEST_F(KRRemoval, namesEveryTemplateInUseOnceAndInOrder) {
    container(101, ".b", {{".web", ""}, {".db", ""}});
    container(102, ".b", {{".web", ""}});
    EXPECT_EQ("some Containers use package(s) .b, .db (OS .b), .web (OS .b)",
              refusal({appTemplate(".web", ".b"), osTemplate(".b"), appTemplate(".db", ".b"),
                       appTemplate(".free", ".b"), appTemplate(".web", ".b"), osTemplate(".b")}));
}

TEST_F(KRRemoval, isRefusedWhateverTheVersions) {
    container(101, ".b", {{".web", "1"}}).osTemplate = QXATemplate(".b", "1");
    container(102, ".b", {{".web", "2"}}).osTemplate = QXATemplate(".b", "2");
    EXPECT_EQ("some Containers use package(s) .b, .web (OS .b)",
              refusal({detailed(appTemplate(".web", ".b")), appTemplate(".web", ".b"),
                       detailed(osTemplate(".b")), osTemplate(".b")}));
    EXPECT_EQ("some Containers use package(s) .web (OS .b)",
              refusal({detailed(rpm(".web", ".b"))}));
}

TEST_F(KRRemoval, neverTakesNamesForFormats) {
    container(101, ".%s%n");
    EXPECT_EQ("some Containers use package(s) .%s%n", refusal({osTemplate(".%s%n")}));
}

TEST_F(KRRemoval, allowsATemplateOfTheSameNameForAnotherOsTemplate) {
    container(101, ".b", {{".web", ""}});
    EXPECT_EQ(0, remove({appTemplate(".web", ".a")}));
}

TEST_F(KRRemoval, allowsAnApplicationTemplateNamedAsAnOsTemplateInUse) {
    container(101, ".b");
    EXPECT_EQ(0, remove({appTemplate(".b", ".a")}));
}

TEST_F(KRRemoval, comparesNamesWithTheirDots) {
    container(101, ".b", {{"web", ""}}).osTemplate = QXATemplate("b", "");
    EXPECT_EQ("some Containers use package(s) .b", refusal({osTemplate("b")}));
    EXPECT_EQ("some Containers use package(s) .web (OS .b)", refusal({appTemplate("web", "b")}));
}

TEST_F(KRRemoval, comparesAnOsTemplateByItsNameAlone) {
    container(101, ".b");
    auto record = recordOf<QXAPackageQXTemplate>(".b", ".b");
    record->isOsTemplate = true;
    EXPECT_EQ("some Containers use package(s) .b", refusal({record}));
}

TEST_F(KRRemoval, comparesOtherPackagesAsTheyAre) {
    container(101, ".b", {{".web", ""}});
    EXPECT_EQ("some Containers use package(s) .web (OS .b)", refusal({rpm(".web", ".b")}));
    EXPECT_EQ(0, remove({rpm("web", ".b")}));
    EXPECT_EQ(0, remove({rpm(".b", ".b")}));
}

TEST_F(KRRemoval, looksAtContainersOfThisNodeOnly) {
    container(101, ".b").parent = QXL::QXLEID::EID_LOCAL;
    EXPECT_EQ(0, remove({osTemplate(".b")}));
}

TEST_F(KRRemoval, looksAtContainersWhateverTheirType) {
    container(101, ".b").type = "other";
    EXPECT_EQ("some Containers use package(s) .b", refusal({osTemplate(".b")}));
}

TEST_F(KRRemoval, looksAtContainersOfKrTemplatesOnly) {
    container(101, "b").osTemplate = QXATemplate(".b", "");
    EXPECT_EQ(0, remove({osTemplate(".b")}));
}

TEST_F(KRRemoval, looksPastContainersThatCannotBeRead) {
    container(101, ".a", {{".web", ""}}).osTemplateResult = 1;
    container(102, ".b", {{".web", ""}}).templatesResult = 1;
    EXPECT_EQ(0, remove({osTemplate(".a"), osTemplate(".b"), appTemplate(".web", ".a"),
                         appTemplate(".web", ".b")}));
}

TEST_F(KRRemoval, looksPastTemplatesThatAreNotSpecified) {
    container(101, ".a").osTemplate.reset();
    container(102, ".b").templates.reset();
    container(103, ".c").osTemplate = QXATemplate("", "");
    EXPECT_EQ(0, remove({osTemplate(".a"), osTemplate(".c"), osTemplate("")}));
    EXPECT_EQ(-1, remove({osTemplate(".b")}));
}

}  // namespace
}  // namespace QXA
