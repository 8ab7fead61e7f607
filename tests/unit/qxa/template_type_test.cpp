// What all technologies share: resolution of environments, file paths, the rule of the dot.
#include "qxa/plugins/QXAPkg/QXATemplateTypeImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxa/plugins/QXAPkg/QXAStandardTemplateType.h"
#include "tests/fakes/fake_platform.h"

namespace QXA {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VeConfig : public testing::Test {
protected:
    int resolve(const QXL::QXLEID& eid) { return QXATemplateTypeImpl::getVeConfig(eid, m_config); }

    fakes::FakePlatform m_platform;
    QXAEnvConfig m_config;
};

TEST_F(VeConfig, anInvalidEidNamesTheNodeWithoutAskingTheCache) {
    EXPECT_EQ(410, resolve(QXL::QXLEID::EID_INVALID));
    EXPECT_THAT(m_platform.calls, IsEmpty());
}

TEST_F(VeConfig, theLocalEidNamesTheNode) {
    EXPECT_EQ(410, resolve(QXL::QXLEID::EID_LOCAL));
    EXPECT_THAT(m_platform.calls, IsEmpty());
}

TEST_F(VeConfig, theNodesOwnEidNamesTheNodeAndLeavesTheConfiguration) {
    EXPECT_EQ(410, resolve(m_platform.localEid));
    EXPECT_EQ(nullptr, m_config.message());
    EXPECT_EQ("", m_platform.errorMessage);
}

TEST_F(VeConfig, nothingButAContainerIsWrittenToTheConfiguration) {
    ASSERT_EQ(0, resolve(fakes::addContainer(m_platform, 101, "base")));
    const auto foreign = fakes::addContainer(m_platform, 102, "other");
    m_platform.environments[foreign].type = "other";
    EXPECT_EQ(410, resolve(m_platform.localEid));
    EXPECT_EQ(317, resolve(QXL::QXLEID::fromString("30000000-0000-0000-0000-000000000000")));
    EXPECT_EQ(428, resolve(foreign));
    EXPECT_EQ("base", m_config.getOS());
}

TEST_F(VeConfig, startsWithoutContentAndOfTheLocalKind) {
    EXPECT_EQ(nullptr, m_config.message());
    EXPECT_EQ(1, m_config.kind());
}

TEST_F(VeConfig, withoutACacheIs420) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.hasCache = false;
    EXPECT_EQ(420, resolve(eid));
    EXPECT_EQ("the environment cache is not accessible", m_platform.errorMessage);
}

TEST_F(VeConfig, anUnknownEidIs317) {
    EXPECT_EQ(317, resolve(QXL::QXLEID::fromString("30000000-0000-0000-0000-000000000000")));
    EXPECT_EQ("Unknown eid", m_platform.errorMessage);
}

TEST_F(VeConfig, aContainerOfAnotherNodeIs428) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.environments[eid].parent =
        QXL::QXLEID::fromString("40000000-0000-0000-0000-000000000000");
    EXPECT_EQ(428, resolve(eid));
    EXPECT_EQ("not a local environment", m_platform.errorMessage);
}

TEST_F(VeConfig, aContainerOfAnotherTechnologyIs428) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    for (const auto* type : {"other", "Meridane", "MERIDANE", "meridane ", "meridan", ""}) {
        m_platform.environments[eid].type = type;
        m_platform.errorMessage.clear();
        EXPECT_EQ(428, resolve(eid)) << type;
        EXPECT_EQ("non-QX environments are not supported", m_platform.errorMessage);
    }
}

TEST_F(VeConfig, theNodeIsCheckedBeforeTheTechnology) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    m_platform.environments[eid].parent = QXL::QXLEID::EID_LOCAL;
    m_platform.environments[eid].type = "other";
    EXPECT_EQ(428, resolve(eid));
    EXPECT_EQ("not a local environment", m_platform.errorMessage);
}

TEST_F(VeConfig, aContainerOfThisNodeGivesItsConfiguration) {
    const auto eid = fakes::addContainer(m_platform, 101, "base");
    EXPECT_EQ(0, resolve(eid));
    int veid = 0;
    EXPECT_EQ(0, m_config.getVeid(veid));
    EXPECT_EQ(101, veid);
    EXPECT_EQ("base", m_config.getOS());
}

QXL::QXLInstallationPackageSP element(const std::string& path, bool record) {
    auto made = std::make_shared<QXL::QXLInstallationPackage>();
    made->path = path;
    if (record) {
        made->package = std::make_shared<QXL::QXLPackage>();
    }
    return made;
}

TEST(PathList, holdsThePathsOfElementsThatHaveOneInOrder) {
    EXPECT_THAT(QXATemplateTypeImpl::getPathList(
                    {element("/b", false), nullptr, element("", true), element("/a", true)}),
                ElementsAre("/b", "/a"));
}

TEST(PathList, extendsTheGivenVectorAndReturnsIt) {
    exec_argument_type paths{"first"};
    auto& returned = QXATemplateTypeImpl::getPathList({element("/a", false)}, paths);
    EXPECT_EQ(&paths, &returned);
    EXPECT_THAT(paths, ElementsAre("first", "/a"));
}

TEST(KROsTemplateName, beginsWithADot) {
    EXPECT_TRUE(isKROsTemplateName(".debian"));
    EXPECT_TRUE(isKROsTemplateName("."));
    EXPECT_FALSE(isKROsTemplateName("debian."));
    EXPECT_FALSE(isKROsTemplateName(""));
}

TEST(Migrate, isNotServed) {
    const fakes::FakePlatform platform;
    QXAStandardTemplateImpl technology;
    EXPECT_EQ(-1, technology.migrate(QXL::QXLEID::EID_LOCAL, {}, {}));
}

}  // namespace
}  // namespace QXA
