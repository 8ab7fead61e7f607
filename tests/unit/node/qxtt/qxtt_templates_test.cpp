// What the library says of the node's KR templates: records, masks, listings, broken metadata.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/unit/node/qxtt/qxtt_node.h"

namespace qxtt_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kWhole =
    "version = \"12\"\nsummary = \"A small system\"\ndescription = \"one\\n\\nthree\\n\"\n"
    "architecture = \"amd64\"\ntechnologies = [\"x86_64\", \"nptl\"]\n"
    "base_packages = [\"base-files\", \"dash\"]\nlate_base_packages = [\"less\"]\npackages = "
    "[\"hello\"]\n"
    "cached = true\n";

class QxttTemplates : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    QxttNode node_;
};

TEST_F(QxttTemplates, anOsTemplateIsDescribedWithEveryFieldThatIsAskedFor) {
    node_.os_template("debian", "deb", kWhole);
    node_.run([] {
        const auto [code, info] = os_info("debian");
        ASSERT_EQ(code, 0);
        EXPECT_EQ(info.name, ".debian");
        EXPECT_EQ(info.os_name, std::nullopt);
        EXPECT_EQ(info.architecture, "amd64");
        EXPECT_EQ(info.config_path, "/qx/template/kr/debian");
        EXPECT_EQ(info.summary, "A small system");
        EXPECT_THAT(*info.description, ElementsAre("one", "", "three"));
        EXPECT_THAT(*info.base_packages, ElementsAre("base-files", "dash"));
        EXPECT_THAT(*info.late_base_packages, ElementsAre("less"));
        EXPECT_THAT(*info.packages, ElementsAre("hello"));
        EXPECT_THAT(*info.technologies, ElementsAre("x86_64", "nptl"));
        EXPECT_EQ(info.cached, "yes");
    });
}

TEST_F(QxttTemplates, aNameIsTakenWithItsDotToo) {
    node_.os_template("debian", "deb");
    node_.application("debian", "mail");
    node_.run([] {
        EXPECT_EQ(os_info(".debian").value.name, ".debian");
        EXPECT_EQ(app_info(".debian", ".mail").value.name, ".mail");
        EXPECT_THAT(names_of(templates_list(".debian").value), ElementsAre(".debian", ".mail"));
    });
}

TEST_F(QxttTemplates, theMaskOfPackageListsGivesArraysEvenWhenTheyAreEmpty) {
    node_.os_template("empty", "rpm");
    node_.run([] {
        const auto [code, info] = os_info("empty", QXTT_MASK_PACKAGE_LISTS);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(*info.base_packages, IsEmpty());
        EXPECT_THAT(*info.late_base_packages, IsEmpty());
        EXPECT_THAT(*info.packages, IsEmpty());
        EXPECT_EQ(info.name, ".empty");
    });
}

TEST_F(QxttTemplates, fieldsThatTheMaskDoesNotSelectStayNull) {
    node_.os_template("debian", "deb", kWhole);
    node_.run([] {
        const Template bare = os_info("debian", 0).value;
        EXPECT_EQ(bare.name, ".debian");
        EXPECT_EQ(bare.architecture, std::nullopt);
        EXPECT_EQ(bare.packaging, std::nullopt);
        EXPECT_EQ(bare.config_path, std::nullopt);
        EXPECT_EQ(bare.description, std::nullopt);
        EXPECT_EQ(bare.packages, std::nullopt);
        EXPECT_EQ(bare.technologies, std::nullopt);
        const Template listed = os_info("debian", QXTT_MASK_LIST).value;
        EXPECT_EQ(listed.architecture, "amd64");
        EXPECT_EQ(listed.cached, "yes");
        EXPECT_EQ(listed.summary, std::nullopt);
        EXPECT_EQ(os_info("debian", QXTT_MASK_LIST_SUMMARY).value.summary, "A small system");
    });
}

TEST_F(QxttTemplates, eachNamedBitSelectsItsField) {
    node_.os_template("debian", "deb", kWhole);
    node_.application("debian", "mail");
    node_.run([] {
        EXPECT_EQ(os_info("debian", QXTT_MASK_PACKAGING_BIT).value.packaging, "deb");
        EXPECT_TRUE(os_info("debian", QXTT_MASK_CONFIG_PATH_BIT).value.config_path);
        EXPECT_TRUE(os_info("debian", QXTT_MASK_DESCRIPTION_BIT).value.description);
        EXPECT_TRUE(os_info("debian", QXTT_MASK_TECHNOLOGIES_BIT).value.technologies);
        EXPECT_EQ(app_info("debian", "mail", QXTT_MASK_OS_NAME_BIT).value.os_name, ".debian");
        const Template base = os_info("debian", QXTT_MASK_BASE_PACKAGES_BIT).value;
        EXPECT_TRUE(base.base_packages && !base.late_base_packages && !base.packages);
        const Template late = os_info("debian", QXTT_MASK_LATE_BASE_PACKAGES_BIT).value;
        EXPECT_TRUE(!late.base_packages && late.late_base_packages && !late.packages);
        const Template added = os_info("debian", QXTT_MASK_PACKAGES_BIT).value;
        EXPECT_TRUE(!added.base_packages && !added.late_base_packages && added.packages);
    });
}

TEST_F(QxttTemplates, anApplicationTemplateTakesFromItsOsTemplateWhatItDoesNotSay) {
    node_.os_template("alma", "rpm", "architecture = \"x86_64\"\n");
    node_.application("alma", "mail", "packages = [\"postfix\"]\n");
    node_.run([] {
        const auto [code, info] = app_info("alma", "mail", 0xffffffffU);
        ASSERT_EQ(code, 0);
        EXPECT_EQ(info.name, ".mail");
        EXPECT_EQ(info.os_name, ".alma");
        EXPECT_EQ(info.packaging, "rpm");
        EXPECT_EQ(info.architecture, "x86_64");
        EXPECT_EQ(info.config_path, "/qx/template/kr/alma/app");
        EXPECT_THAT(*info.base_packages, IsEmpty());
        EXPECT_THAT(*info.packages, ElementsAre("postfix"));
        EXPECT_EQ(info.cached, std::nullopt);
    });
}

TEST_F(QxttTemplates, aTemplateWithoutArchitectureHasTheNodes) {
    node_.os_template("debian", "deb");
    node_.run([] {
        const auto info = os_info("debian").value;
        ASSERT_TRUE(info.architecture);
        EXPECT_FALSE(info.architecture->empty());
    });
}

TEST_F(QxttTemplates, anApplicationTemplateIsFoundByAContainersNumber) {
    node_.os_template("debian", "deb");
    node_.application("debian", "mail");
    node_.container(101, ".debian");
    node_.run([] {
        EXPECT_EQ(app_info("101", "mail").value.os_name, ".debian");
        EXPECT_EQ(app_info("102", "mail").code, QXTT_E_NO_CONTAINER);
        EXPECT_EQ(app_info("99999999999999999999", "mail").code, QXTT_E_NO_CONTAINER);
    });
}

TEST_F(QxttTemplates, listingsAreSortedWithTheOsTemplateFirst) {
    for (const char* name : {"zebra", "alpha", "middle"}) {
        node_.os_template(name, "deb");
    }
    for (const char* name : {"web", "a0", "mail"}) {
        node_.application("middle", name);
    }
    node_.run([] {
        EXPECT_THAT(all_base().value, ElementsAre(".alpha", ".middle", ".zebra"));
        const auto listed = templates_list("middle").value;
        EXPECT_THAT(names_of(listed), ElementsAre(".middle", ".a0", ".mail", ".web"));
        EXPECT_TRUE(listed[0].is_os);
        EXPECT_FALSE(listed[1].is_os);
    });
}

TEST_F(QxttTemplates, aNodeWithoutTemplatesHasAnEmptyList) {
    node_.run([] {
        const auto [code, names] = all_base();
        EXPECT_EQ(code, 0);
        EXPECT_THAT(names, IsEmpty());
    });
}

TEST_F(QxttTemplates, brokenMetadataIsACodeForItsTemplateAndTheOthersAreServed) {
    node_.os_template("good", "deb");
    node_.application("good", "mail");
    node_.write("/qx/template/kr/good/app/broken.toml", "technology = ");
    node_.write("/qx/template/kr/bad/template.toml", "kind = \"os\"\n");
    node_.application("bad", "mail");
    node_.run([] {
        EXPECT_THAT(all_base().value, ElementsAre(".good"));
        EXPECT_THAT(names_of(templates_list("good").value), ElementsAre(".good", ".mail"));
        EXPECT_EQ(os_info("bad").code, QXTT_E_BAD_TEMPLATE);
        EXPECT_EQ(templates_list("bad").code, QXTT_E_BAD_TEMPLATE);
        EXPECT_EQ(template_pkgs("bad").code, QXTT_E_BAD_TEMPLATE);
        EXPECT_EQ(pkg_info_of("bad", "x").code, QXTT_E_BAD_TEMPLATE);
        EXPECT_EQ(app_info("good", "broken").code, QXTT_E_BAD_TEMPLATE);
        EXPECT_EQ(app_info("bad", "mail").code, QXTT_E_BAD_TEMPLATE);
    });
}

TEST_F(QxttTemplates, anUnknownTemplateIsACodeOfItsOwn) {
    node_.os_template("good", "deb");
    node_.run([] {
        EXPECT_EQ(os_info("none").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(os_info("").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(app_info("good", "none").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(app_info("none", "mail").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(templates_list("none").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(template_pkgs("none").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(pkg_info_of("none", "x").code, QXTT_E_NO_TEMPLATE);
    });
}

TEST_F(QxttTemplates, aNameNeverLeadsOutOfTheTemplatesFolder) {
    node_.write("/qx/template/outside/template.toml",
                "technology = \"kr\"\nkind = \"os\"\nname = \"outside\"\npackaging = \"deb\"\n");
    node_.os_template("good", "deb");
    node_.run([] {
        EXPECT_EQ(os_info("../outside").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(os_info("..").code, QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(app_info("good", "../template").code, QXTT_E_NO_TEMPLATE);
    });
}

TEST_F(QxttTemplates, aFailedQueryLeavesTheCallersRecordAsItWas) {
    node_.run([] {
        const auto options = with_mask(QXTT_MASK_TEMPLATE_INFO);
        const tmpl_info before{};
        tmpl_info info{};
        EXPECT_EQ(qxtt_get_os_tmpl_info("none", &options, &info), QXTT_E_NO_TEMPLATE);
        EXPECT_EQ(std::memcmp(&info, &before, sizeof(info)), 0);
    });
}

}  // namespace
}  // namespace qxtt_test
