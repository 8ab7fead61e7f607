// Packages that the repositories of OS templates offer, and where a package is looked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/real_packages.h"
#include "tests/unit/node/qxtt/qxtt_node.h"

namespace qxtt_test {
namespace {

namespace fs = std::filesystem;
using qx_test::make_deb;
using qx_test::make_rpm;
using qx_test::run_program;
using qx_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

// Repositories lie in a part of the node that is theirs to use.
constexpr const char* kRepo = "/qx/template/repo";

constexpr const char* kFlat =
    "[[repositories]]\nurl = \"copy:/qx/template/repo\"\nsuite = \"./\"\n";
constexpr const char* kDists =
    "architecture = \"amd64\"\n[[repositories]]\nurl = \"file:///qx/template/repo\"\n"
    "suite = \"stable\"\ncomponents = [\"main\", \"extra\"]\n";
constexpr const char* kRpmRepo =
    "architecture = \"x86_64\"\n[[repositories]]\n"
    "url = \"file:///qx/template/repo\"\n";
constexpr const char* kRemote =
    "[[repositories]]\nurl = \"https://example.invalid/x\"\n"
    "suite = \"stable\"\ncomponents = [\"main\"]\n";

std::string stanza(const std::string& name, const std::string& version,
                   const std::string& architecture = "all") {
    return "Package: " + name + "\nVersion: " + version + "\nArchitecture: " + architecture +
           "\nDescription: About " + name + "\n more\n .\n end\n\n";
}

void write_file(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << content;
}

class QxttRepository : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_TEST_NODE(); }

    QxttNode node_;
    TempDir files_;
};

TEST_F(QxttRepository, aFlatDebRepositoryIsListedByName) {
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages", stanza("zlib", "1") + stanza("bash", "5:2-1"));
    node_.run([] {
        const auto [code, listed] = template_pkgs("debian", QXTT_MASK_LIST_SUMMARY);
        ASSERT_EQ(code, 0);
        EXPECT_THAT(listed, ElementsAre(Entry{"bash", "all", "5:2-1", "About bash"},
                                        Entry{"zlib", "all", "1", "About zlib"}));
    });
}

TEST_F(QxttRepository, theMaskOfPackageListsGivesSummariesTooAndOthersDoNot) {
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages", stanza("bash", "1"));
    node_.run([] {
        EXPECT_EQ(template_pkgs("debian", QXTT_MASK_PACKAGE_LISTS).value.at(0).summary,
                  "About bash");
        EXPECT_EQ(template_pkgs("debian", QXTT_MASK_LIST).value.at(0).summary, std::nullopt);
    });
}

TEST_F(QxttRepository, packagesOfOtherArchitecturesAreLeftOut) {
    node_.os_template("debian", "deb", std::string("architecture = \"arm64\"\n") + kFlat);
    node_.write(std::string(kRepo) + "/Packages",
                stanza("a", "1", "arm64") + stanza("b", "1", "amd64") + stanza("c", "1"));
    node_.run([] { EXPECT_THAT(names_of(template_pkgs("debian").value), ElementsAre("a", "c")); });
}

TEST_F(QxttRepository, ofSeveralVersionsTheNewestIsOffered) {
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages",
                stanza("a", "9") + stanza("a", "10~rc1") + stanza("a", "10"));
    node_.run([] {
        EXPECT_EQ(template_pkgs("debian").value,
                  (std::vector<Entry>{{"a", "all", "10", std::nullopt}}));
        const auto found = pkg_info_of("debian", "a").value;
        ASSERT_EQ(found.size(), 3U);
        EXPECT_EQ(found[0].version, "10");
        EXPECT_EQ(found[2].version, "9");
    });
}

TEST_F(QxttRepository, allComponentsOfADistributionAreRead) {
    node_.os_template("debian", "deb", kDists);
    const std::string dists = std::string(kRepo) + "/dists/stable/";
    node_.write(dists + "main/binary-amd64/Packages", stanza("a", "1", "amd64"));
    node_.write(dists + "extra/binary-amd64/Packages", stanza("b", "1"));
    node_.run([] { EXPECT_THAT(names_of(template_pkgs("debian").value), ElementsAre("a", "b")); });
}

class QxttPackedIndex : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(QxttPackedIndex, isRead) {
    QX_SKIP_WITHOUT_TEST_NODE();
    const auto [program, suffix] = GetParam();
    const TempDir files;
    const QxttNode node;
    node.os_template("debian", "deb", kFlat);
    const std::string plain = files.write("Packages", stanza("a", "1"));
    run_program({program, "-k", "-q", plain});
    node.write(std::string(kRepo) + "/Packages" + suffix, qx_test::read_file(plain + suffix));
    node.run([] { EXPECT_THAT(names_of(template_pkgs("debian").value), ElementsAre("a")); });
}

INSTANTIATE_TEST_SUITE_P(Programs, QxttPackedIndex,
                         testing::Values(std::pair{"gzip", ".gz"}, std::pair{"xz", ".xz"},
                                         std::pair{"bzip2", ".bz2"}),
                         [](const auto& info) { return std::string(info.param.first); });

TEST_F(QxttRepository, anIndexThatTheEnginesToolsMadeIsRead) {
    QX_SKIP_WITHOUT_DEB();
    make_deb(files_, {.name = "a", .version = "1:2-3", .description = {"one", "", "three"}});
    const auto index = run_program({"dpkg-scanpackages", "-m", files_.path()});
    std::string text;
    for (const std::string& line : index) {
        text += line + "\n";
    }
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages", text);
    node_.run([] {
        const auto [code, found] = pkg_info_of("debian", "a");
        ASSERT_EQ(code, 0);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].version, "1:2-3");
        EXPECT_EQ(found[0].architecture, "all");
        EXPECT_EQ(found[0].summary, "A package of a test");
        EXPECT_THAT(*found[0].description, ElementsAre("one", "", "three"));
    });
}

TEST_F(QxttRepository, anRpmRepositoryIsListedByName) {
    QX_SKIP_WITHOUT_RPM();
    if (!fs::exists("/usr/bin/createrepo_c")) {
        GTEST_SKIP() << "needs createrepo_c";
    }
    make_rpm(files_, {.name = "zlib", .version = "1:1.2-3"});
    make_rpm(files_, {.name = "bash", .summary = "A <shell>", .description = {"one", "", "two"}});
    node_.os_template("alma", "rpm", kRpmRepo);
    node_.run([&] {
        fs::copy(files_.path("top/RPMS"), kRepo, fs::copy_options::recursive);
        run_program({"createrepo_c", "-q", kRepo});
        EXPECT_EQ(template_pkgs("alma").value,
                  (std::vector<Entry>{{"bash", "noarch", "1.0-1", std::nullopt},
                                      {"zlib", "noarch", "1:1.2-3", std::nullopt}}));
        const auto found = pkg_info_of("alma", "bash").value;
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].summary, "A <shell>");
        EXPECT_EQ(found[0].repository, "file:///qx/template/repo");
        EXPECT_THAT(*found[0].description, ElementsAre("one", "", "two"));
    });
}

TEST_F(QxttRepository, repositoriesThatNeedTheNetworkArePassedOver) {
    node_.os_template("debian", "deb", kRemote);
    node_.run([] {
        const auto [code, listed] = template_pkgs("debian");
        EXPECT_EQ(code, 0);
        EXPECT_THAT(listed, IsEmpty());
    });
}

TEST_F(QxttRepository, aRepositoryThatIsNotThereIsACode) {
    node_.os_template("debian", "deb", kFlat);
    node_.os_template("alma", "rpm", kRpmRepo);
    node_.run([] {
        EXPECT_EQ(template_pkgs("debian").code, QXTT_E_BAD_REPOSITORY);
        EXPECT_EQ(template_pkgs("alma").code, QXTT_E_BAD_REPOSITORY);
    });
}

TEST_F(QxttRepository, damagedIndexesAreACode) {
    node_.os_template("debian", "deb", kFlat);
    node_.os_template("alma", "rpm", kRpmRepo);
    node_.run([] {
        const std::string repo = kRepo;
        write_file(repo + "/Packages", "no field\n");
        EXPECT_EQ(template_pkgs("debian").code, QXTT_E_BAD_REPOSITORY);
        write_file(repo + "/Packages", "\x1f\x8b\x08 no gzip");
        EXPECT_EQ(template_pkgs("debian").code, QXTT_E_BAD_REPOSITORY);
        write_file(repo + "/repodata/repomd.xml", "<repomd>");
        EXPECT_EQ(template_pkgs("alma").code, QXTT_E_BAD_REPOSITORY);
        write_file(repo + "/repodata/repomd.xml",
                   "<repomd><data type='primary'><location href='p.xml'/></data></repomd>");
        write_file(repo + "/p.xml", "<metadata><package><name>a</name></package>");
        EXPECT_EQ(template_pkgs("alma").code, QXTT_E_BAD_REPOSITORY);
    });
}

TEST_F(QxttRepository, metadataOutsideItsRepositoryIsRefused) {
    node_.os_template("alma", "rpm", kRpmRepo);
    node_.run([] {
        write_file("/qx/template/p.xml", "<metadata></metadata>");
        for (const char* place : {"../p.xml", "/qx/template/p.xml", "repodata/../../p.xml"}) {
            write_file(std::string(kRepo) + "/repodata/repomd.xml",
                       std::string("<repomd><data type='primary'><location href='") + place +
                           "'/></data></repomd>");
            EXPECT_EQ(template_pkgs("alma").code, QXTT_E_BAD_REPOSITORY) << place;
        }
    });
}

TEST_F(QxttRepository, anUnknownPackageIsNoFailure) {
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages", stanza("a", "1"));
    node_.run([] {
        const auto [code, found] = pkg_info_of("debian", "other");
        EXPECT_EQ(code, 0);
        EXPECT_THAT(found, IsEmpty());
    });
}

TEST_F(QxttRepository, whatCannotBeAPackagesNameIsAnError) {
    node_.os_template("debian", "deb");
    node_.run([] {
        for (const char* name : {"", "*", "-W", "a b", "../a", "a\n"}) {
            EXPECT_EQ(pkg_info_of("debian", name).code, QXTT_E_ARGUMENT) << name;
        }
    });
}

TEST_F(QxttRepository, theMaskSelectsTheFieldsOfAPackage) {
    node_.os_template("debian", "deb", kFlat);
    node_.write(std::string(kRepo) + "/Packages", stanza("a", "1"));
    node_.run([] {
        const Info bare = pkg_info_of("debian", "a", 0).value.at(0);
        EXPECT_EQ(bare.name, "a");
        EXPECT_FALSE(bare.version || bare.repository || bare.architecture || bare.summary ||
                     bare.description);
        const Info whole = pkg_info_of("debian", "a", QXTT_MASK_PACKAGE_INFO).value.at(0);
        EXPECT_TRUE(whole.version && whole.repository && whole.architecture && whole.summary &&
                    whole.description);
    });
}

// Where a package is looked for: repositories, cache, containers.
class QxttSearch : public QxttRepository {
protected:
    void SetUp() override {
        QX_SKIP_WITHOUT_TEST_NODE();
        QX_SKIP_WITHOUT_DEB();
    }

    static void install(const std::string& root, const std::string& name) {
        write_file(root + "/var/lib/dpkg/status",
                   "Package: " + name +
                       "\nStatus: install ok installed\nMaintainer: a\nArchitecture: all\n"
                       "Version: 7\nDescription: About it\n more\n .\n end\n\n");
    }
};

TEST_F(QxttSearch, theCacheAnswersForPackagesOfNoLocalRepository) {
    node_.os_template("debian", "deb", kRemote);
    node_.cache("debian");
    node_.run([] {
        install(QxttNode::kCacheRoot, "cached");
        const auto [code, found] = pkg_info_of(".debian", "cached");
        ASSERT_EQ(code, 0);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].version, "7");
        EXPECT_EQ(found[0].repository, "cache of .debian");
        EXPECT_EQ(found[0].summary, "About it");
        EXPECT_THAT(*found[0].description, ElementsAre("more", "", "end"));
    });
}

TEST_F(QxttSearch, containersOfThatOsAnswerLast) {
    node_.os_template("debian", "deb");
    node_.container(7, ".other");
    node_.container(101, ".debian");
    node_.container(102, ".debian");
    node_.write("/etc/sysconfig/qx-scripts/8.conf", "broken\n");
    node_.run([] {
        install(QxttNode::root_of(7), "mine");
        install(QxttNode::root_of(102), "mine");
        const auto [code, found] = pkg_info_of("debian", "mine");
        ASSERT_EQ(code, 0);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].repository, "container 102");
    });
}

TEST_F(QxttSearch, aRepositoryGoesBeforeTheCache) {
    node_.os_template("debian", "deb", kFlat);
    node_.cache("debian");
    node_.write(std::string(kRepo) + "/Packages", stanza("a", "8"));
    node_.run([] {
        install(QxttNode::kCacheRoot, "a");
        EXPECT_EQ(pkg_info_of("debian", "a").value.at(0).version, "8");
    });
}

TEST_F(QxttSearch, aBrokenSourceCountsOnlyWhenNoOtherKnowsThePackage) {
    node_.os_template("debian", "deb", kFlat);
    node_.write("/qx/template/kr/debian/cache.toml", "broken");
    node_.container(101, ".debian");
    node_.run([] {
        install(QxttNode::root_of(101), "a");
        EXPECT_EQ(pkg_info_of("debian", "a").code, 0);
        EXPECT_EQ(pkg_info_of("debian", "b").code, QXTT_E_BAD_REPOSITORY);
    });
}

TEST_F(QxttSearch, anRpmIsFoundByItsNameAlone) {
    QX_SKIP_WITHOUT_RPM();
    const std::string rpm =
        make_rpm(files_, {.name = "bash", .version = "5-1", .description = {"one", "", "two"}});
    node_.os_template("alma", "rpm");
    node_.container(101, ".alma");
    node_.run([&] {
        qx_test::install_rpms(QxttNode::root_of(101), {rpm});
        const auto found = pkg_info_of("alma", "bash").value;
        ASSERT_EQ(found.size(), 1U);
        EXPECT_THAT(*found[0].description, ElementsAre("one", "", "two"));
        EXPECT_THAT(pkg_info_of("alma", "bash-5").value, IsEmpty());
        EXPECT_EQ(pkg_info_of("alma", "bash-5").code, 0);
    });
}

}  // namespace
}  // namespace qxtt_test
