// Which standard templates may be removed from the node: none that a container uses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/qxa/standard_fixture.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UsageCheck : public StandardTechnology {
protected:
    QXL::QXLEID container(int veid, const std::string& os,
                          std::vector<QXATemplate> templates = {}) {
        const auto eid = fakes::addContainer(m_platform, veid, os);
        m_platform.environments[eid].templates = std::move(templates);
        return eid;
    }

    int remove(const std::string& name, const std::string& version = "") {
        return m_technology.removeFromNode({standard(name, version)}, options(), &m_out);
    }
};

TEST_F(UsageCheck, withoutACacheNothingIsRemoved) {
    m_platform.hasCache = false;
    EXPECT_EQ(-1, remove("a"));
    EXPECT_EQ("the environment cache is not accessible", m_platform.errorMessage);
    EXPECT_THAT(m_platform.callsOf("tem.unset"), IsEmpty());
}

TEST_F(UsageCheck, withoutAListNothingIsRemoved) {
    m_platform.hasList = false;
    EXPECT_EQ(-1, remove("a"));
    EXPECT_EQ("cannot fetch the environments list", m_platform.errorMessage);
}

TEST_F(UsageCheck, aTemplateInUseIsNamedWithItsFirstVersion) {
    know("a", "1", true);
    know("a", "2", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    container(101, "a");
    EXPECT_EQ(-1, remove("a"));
    EXPECT_EQ("some Containers use package(s) a/1", m_platform.errorMessage);
    EXPECT_THAT(m_platform.callsOf("tem.unset"), IsEmpty());
}

TEST_F(UsageCheck, anotherVersionMayGo) {
    know("a", "1", true);
    const auto eid = container(101, "a");
    m_platform.environments[eid].osTemplate = QXATemplate("a", "1");
    EXPECT_EQ(0, remove("a", "2"));
}

TEST_F(UsageCheck, namesAndVersionsAreComparedWithTheirCase) {
    know("a", "1b", true);
    const auto eid = container(101, "a");
    m_platform.environments[eid].osTemplate = QXATemplate("a", "1b");
    EXPECT_EQ(0, remove("A"));
    EXPECT_EQ(0, remove("a", "1B"));
    EXPECT_EQ(-1, remove("a", "1b"));
}

TEST_F(UsageCheck, templatesOfOthersAreNotLookedFor) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    container(101, "a");
    EXPECT_EQ(0, m_technology.removeFromNode({standard("b"), kr("a")}, options(), &m_out));
    EXPECT_THAT(m_platform.callsOf("tem.unset"), ElementsAre("tem.unset b/"));
}

TEST_F(UsageCheck, severalTemplatesAreJoined) {
    know("a", "1", true);
    know("web", "3", false);
    const auto eid = container(101, "a", {{"web", "3"}});
    m_platform.environments[eid].osTemplate = QXATemplate("a", "1");
    EXPECT_EQ(
        -1, m_technology.removeFromNode({standard("web", "3"), standard("a")}, options(), &m_out));
    EXPECT_EQ("some Containers use package(s) a/1, web/3", m_platform.errorMessage);
}

TEST_F(UsageCheck, anEmptyTextIsJoinedToo) {
    know("a", "1", true);
    m_platform.getInfos[""].versions.resize(1);
    const auto eid = container(101, "a", {{"", ""}});
    m_platform.environments[eid].osTemplate = QXATemplate("a", "1");
    EXPECT_EQ(-1, m_technology.removeFromNode({standard(""), standard("a")}, options(), &m_out));
    EXPECT_EQ("some Containers use package(s) , a/1", m_platform.errorMessage);
}

TEST_F(UsageCheck, versionsInUseAreComparedInOrderWhateverTheManagerAnswers) {
    know("a", "2", true);
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    container(101, "a");
    EXPECT_EQ(-1, remove("a"));
    EXPECT_EQ("some Containers use package(s) a/1", m_platform.errorMessage);
}

TEST_F(UsageCheck, templatesInUseAreThoseThatTheManagerNames) {
    know("a", "1", true);
    m_platform.getInfos["alias"] = m_platform.lsInfos[0];
    container(101, "alias");
    EXPECT_EQ(-1, remove("a"));
    EXPECT_EQ(0, remove("alias"));
}

TEST_F(UsageCheck, eachDistinctTemplateIsAskedForOnce) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    container(101, "a");
    container(102, "a");
    EXPECT_EQ(0, remove("b"));
    EXPECT_THAT(m_platform.callsOf("tem.get "), ElementsAre("tem.get a"));
}

TEST_F(UsageCheck, templatesInUseAreAskedForByNameAndVersion) {
    container(101, "b", {{"a", "2"}, {"a", "10"}});
    container(102, "a");
    EXPECT_EQ(0, remove("x"));
    EXPECT_THAT(m_platform.callsOf("tem"),
                ElementsAre("tem access=null", "tem.get a", "tem access=null", "tem.get a/10",
                            "tem access=null", "tem.get a/2", "tem access=null", "tem.get b",
                            "tem access=null", "tem.unset x/"));
}

TEST_F(UsageCheck, anyEnvironmentOfThisNodeCountsWhateverItsType) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    const auto eid = container(101, "a");
    m_platform.environments[eid].type = "other";
    EXPECT_EQ(-1, remove("a"));
}

TEST_F(UsageCheck, aTemplateUsedWithAndWithoutVersionIsNamedForEachRequestOfIt) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    container(101, "a", {{"a", "1"}});
    EXPECT_EQ(-1,
              m_technology.removeFromNode({standard("a"), standard("a", "1")}, options(), &m_out));
    EXPECT_EQ("some Containers use package(s) a/1, a/1", m_platform.errorMessage);
}

TEST_F(UsageCheck, namesAreNeverTakenForFormats) {
    know("%s%n", "1", true);
    m_platform.getInfos["%s%n"] = m_platform.lsInfos[0];
    container(101, "%s%n");
    EXPECT_EQ(-1, remove("%s%n"));
    EXPECT_EQ("some Containers use package(s) %s%n/1", m_platform.errorMessage);
}

TEST_F(UsageCheck, unknownTemplatesOfContainersAreSkipped) {
    container(101, "gone");
    EXPECT_EQ(0, remove("gone"));
    m_platform.temResults["get"] = {-51};
    EXPECT_EQ(0, remove("gone"));
}

TEST_F(UsageCheck, aTemplateThatCannotBeAskedForRefuses) {
    container(101, "a");
    m_platform.temResults["get"] = {-9, 9};
    m_platform.errorMessage = "of the manager";
    EXPECT_EQ(-1, remove("b"));
    EXPECT_EQ(-1, remove("b"));
    EXPECT_EQ("of the manager", m_platform.errorMessage);
}

TEST_F(UsageCheck, containersOfOtherNodesAndOfKrTemplatesDoNotCount) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    const auto foreign = container(101, "a");
    m_platform.environments[foreign].parent = QXL::QXLEID::EID_LOCAL;
    const auto dotted = container(102, ".x");
    m_platform.environments[dotted].osTemplate = QXATemplate("a", "");
    EXPECT_EQ(0, remove("a"));
}

TEST_F(UsageCheck, anEnvironmentThatCannotBeReadContributesNothing) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    const auto noOs = container(101, "a", {{"a", ""}});
    m_platform.environments[noOs].osTemplate.reset();
    const auto badOs = container(102, "a", {{"a", ""}});
    m_platform.environments[badOs].osTemplateResult = 1;
    const auto emptyOs = container(103, "a", {{"a", ""}});
    m_platform.environments[emptyOs].osTemplate = QXATemplate("", "");
    const auto badTemplates = container(104, "a");
    m_platform.environments[badTemplates].templatesResult = 1;
    EXPECT_EQ(0, remove("a"));
}

TEST_F(UsageCheck, anEnvironmentWithoutTemplatesContributesItsOs) {
    know("a", "1", true);
    m_platform.getInfos["a"] = m_platform.lsInfos[0];
    const auto eid = container(101, "a");
    m_platform.environments[eid].templates.reset();
    EXPECT_EQ(-1, remove("a"));
}

}  // namespace
}  // namespace QXA
