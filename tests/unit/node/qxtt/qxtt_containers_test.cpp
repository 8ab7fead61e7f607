// What the library says of containers: their OS template, their templates, their status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/unit/node/qxtt/qxtt_node.h"

namespace qxtt_test {
namespace {

using testing::ElementsAre;

class QxttContainers : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    QxttNode node_;
};

TEST_F(QxttContainers, theOsTemplateComesWithItsDot) {
    node_.container(101, ".debian");
    node_.run([] {
        const auto [code, name] = ve_ostemplate(101);
        EXPECT_EQ(code, 0);
        EXPECT_EQ(name, ".debian");
    });
}

TEST_F(QxttContainers, installedTemplatesAreListedOnceEachBehindTheOsTemplate) {
    node_.os_template("debian", "deb", "architecture = \"amd64\"\n");
    node_.application("debian", "web", "summary = \"A server\"\n");
    node_.application("debian", "mail");
    node_.application("debian", "other");
    node_.container(101, ".debian", ".web mail .mail");
    node_.run([] {
        const auto [code, listed] = ve_templates(101, QXTT_MASK_LIST_SUMMARY);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(names_of(listed), ElementsAre(".debian", ".mail", ".web"));
        EXPECT_TRUE(listed[0].is_os);
        EXPECT_FALSE(listed[2].is_os);
        EXPECT_EQ(listed[2].summary, "A server");
        EXPECT_EQ(listed[2].architecture, "amd64");
    });
}

TEST_F(QxttContainers, templatesThatTheNodeHasNoMoreAreListedByName) {
    node_.container(101, ".gone", ".mail");
    node_.run([] {
        const auto [code, listed] = ve_templates(101, 0xffffffffU);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(names_of(listed), ElementsAre(".gone", ".mail"));
        EXPECT_EQ(listed[1].os_name, ".gone");
        EXPECT_EQ(listed[0].packaging, std::nullopt);
        EXPECT_EQ(listed[0].summary, std::nullopt);
    });
}

TEST_F(QxttContainers, brokenMetadataOfOneInstalledTemplateDoesNotHideTheOthers) {
    node_.os_template("debian", "deb");
    node_.application("debian", "mail");
    node_.write("/qx/template/kr/debian/app/web.toml", "x");
    node_.container(101, ".debian", ".mail .web");
    node_.run([] {
        EXPECT_THAT(names_of(ve_templates(101).value), ElementsAre(".debian", ".mail", ".web"));
    });
}

TEST_F(QxttContainers, aContainerOfAStandardTemplateIsNoneOfTheLibrarys) {
    node_.container(101, "debian");
    node_.container(102, "");
    node_.run([] {
        EXPECT_EQ(ve_ostemplate(101).code, QXTT_E_BAD_CONTAINER);
        EXPECT_EQ(ve_templates(101).code, QXTT_E_BAD_CONTAINER);
        EXPECT_EQ(ve_pkgs(102).code, QXTT_E_BAD_CONTAINER);
    });
}

TEST_F(QxttContainers, unknownAndUnreadableContainersHaveCodesOfTheirOwn) {
    node_.write("/etc/sysconfig/qx-scripts/102.conf", "no parameter\n");
    node_.run([] {
        EXPECT_EQ(ve_ostemplate(101).code, QXTT_E_NO_CONTAINER);
        EXPECT_EQ(ve_templates(-1).code, QXTT_E_NO_CONTAINER);
        EXPECT_EQ(ve_pkgs(101).code, QXTT_E_NO_CONTAINER);
        EXPECT_EQ(ve_ostemplate(102).code, QXTT_E_BAD_CONTAINER);
        EXPECT_EQ(ve_pkgs(102).code, QXTT_E_BAD_CONTAINER);
    });
}

TEST_F(QxttContainers, theStatusTellsReadyUnmadeAndUnknownApart) {
    node_.container(101, ".debian");
    node_.container(102, ".debian");
    node_.write("/etc/sysconfig/qx-scripts/103.conf", "no parameter\n");
    node_.run([] {
        std::filesystem::create_directories(QxttNode::root_of(101));
        EXPECT_GT(ve_status(101), 0);
        EXPECT_EQ(ve_status(102), 0);
        EXPECT_EQ(ve_status(103), -QXTT_E_BAD_CONTAINER);
        EXPECT_EQ(ve_status(104), -QXTT_E_NO_CONTAINER);
    });
}

TEST_F(QxttContainers, thePrivateAreaIsTheOneOfTheConfiguration) {
    node_.write("/etc/sysconfig/qx-scripts/101.conf",
                "OSTEMPLATE=\".debian\"\nVE_PRIVATE=\"/qx/private/elsewhere/$VEID\"\n");
    node_.run([] {
        EXPECT_EQ(ve_status(101), 0);
        std::filesystem::create_directories("/qx/private/elsewhere/101/root");
        EXPECT_GT(ve_status(101), 0);
    });
}

TEST_F(QxttContainers, packagesOfAContainerWithoutPrivateAreaAreAnError) {
    node_.os_template("debian", "deb");
    node_.container(101, ".debian");
    node_.run([] { EXPECT_EQ(ve_pkgs(101).code, QXTT_E_NO_ROOT); });
}

}  // namespace
}  // namespace qxtt_test
