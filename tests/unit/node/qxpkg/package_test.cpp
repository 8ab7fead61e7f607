// Reading KR template packages, good ones and what else may stand in their place.
#include "node/qxpkg/node/template_package.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/operations.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/node/qxpkg/kr_packages.h"

namespace {

using namespace qxpkg_test;
using qxpkg::TemplatePackage;

class QxpkgPackage : public testing::Test {
protected:
    std::string path(const std::string& name = "package.tar") const { return m_files.path(name); }

    Outcome reading(const KrPackage& package,
                    const qxpkg::TemplatePackageLimits& limits = {}) const {
        const std::string file = package.write(path());
        return outcomeOf([&] { qxpkg::readTemplatePackage(file, limits); });
    }

    void expectCode(int code, const KrPackage& package, const std::string& reason) const {
        const Outcome outcome = reading(package);
        EXPECT_EQ(outcome.code, code) << outcome.reason;
        EXPECT_NE(outcome.reason.find(reason), std::string::npos) << outcome.reason;
        EXPECT_NE(outcome.reason.find(path()), std::string::npos) << outcome.reason;
    }

    qx_test::TempDir m_files;
};

TEST_F(QxpkgPackage, AnOsTemplateBringsItsApplicationsAndKeys) {
    const std::string file = osPackage("base", "1")
                                 .folder("keys/")
                                 .file("keys/main.asc", "KEY")
                                 .file("app/web.toml", appManifest("base", "web", "2"))
                                 .write(path());
    const TemplatePackage package = qxpkg::readTemplatePackage(file);
    EXPECT_EQ(package.main.manifest.name, ".base");
    EXPECT_EQ(package.main.text, osManifest("base", "1"));
    EXPECT_EQ(package.keys.at("main.asc"), "KEY");
    EXPECT_EQ(package.applications.at("web").manifest.version, "2");
}

TEST_F(QxpkgPackage, AnyCompressionAndAnyOrderAreRead) {
    for (const int filter : {ARCHIVE_FILTER_GZIP, ARCHIVE_FILTER_XZ, ARCHIVE_FILTER_ZSTD,
                             ARCHIVE_FILTER_BZIP2, ARCHIVE_FILTER_LZ4}) {
        KrPackage package;
        package.folder("./").file("./app/web.toml", appManifest("base", "web", "1"));
        package.file("./template.toml", osManifest("base", "1"));
        const std::string file = package.write(path(), filter);
        EXPECT_EQ(qxpkg::readTemplatePackage(file).applications.size(), 1U) << filter;
    }
}

TEST_F(QxpkgPackage, WhatIsNoKrTemplateIsToldApart) {
    KrPackage standard;
    standard.file("template.toml", "technology = \"standard\"\nname = \"a\"\n");
    expectCode(33, standard, "its technology is 'standard'");
    KrPackage without;
    without.file("root/file", "x");
    expectCode(33, without, "holds no template.toml");
    KrPackage broken;
    broken.file("template.toml", "technology = ");
    expectCode(33, broken, "not a KR template package");
    KrPackage linked;
    linked.link("template.toml", "/etc/passwd");
    expectCode(33, linked, "not a regular file");
}

TEST_F(QxpkgPackage, AFileThatIsNoArchiveIsNoKrTemplate) {
    for (const std::string content : {"", "this is no archive at all\n"}) {
        const std::string file = m_files.write("text", content);
        EXPECT_EQ(outcomeOf([&] { qxpkg::readTemplatePackage(file); }).code, 33);
    }
    EXPECT_EQ(outcomeOf([&] { qxpkg::readTemplatePackage(m_files.path()); }).code, 33);
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(outcomeOf([&] { qxpkg::readTemplatePackage(path("pipe")); }).code, 33);
}

TEST_F(QxpkgPackage, AFileThatIsNotThereIsAFailureWithItsReason) {
    const Outcome outcome = outcomeOf([&] { qxpkg::readTemplatePackage(path("nothing")); });
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.reason.find("No such file"), std::string::npos) << outcome.reason;
}

TEST_F(QxpkgPackage, AStandardPackageIsToldApartHoweverMuchItHolds) {
    KrPackage package;
    for (int i = 0; i < 5000; ++i) {
        package.file("root/" + std::to_string(i), "");
    }
    package.file("template.toml", "technology = \"standard\"\n");
    EXPECT_EQ(reading(package).code, 33);
}

TEST_F(QxpkgPackage, AManifestThatIsNotRightIsAFailure) {
    expectCode(1, KrPackage().file("template.toml", "technology = \"kr\"\n"), "kind");
    expectCode(1, osPackage("base", "1", "base_packages = [\"--root=/\"]\n"), "base_packages");
    expectCode(1, osPackage("../evil", "1"), "name");
}

TEST_F(QxpkgPackage, PathsThatLeadOutAreRefused) {
    expectCode(1, osPackage("base", "1").file("keys/../../evil", "x"), "..");
    expectCode(1, osPackage("base", "1").file("/etc/evil", "x"), "absolute");
    expectCode(1, osPackage("base", "1").file("app/../../web.toml", "x"), "..");
}

TEST_F(QxpkgPackage, LinksAndSpecialFilesAreRefused) {
    expectCode(1, osPackage("base", "1").link("keys/k", "/etc/shadow"), "not a regular file");
    expectCode(1, osPackage("base", "1").hardLink("keys/k", "template.toml"), "not a regular file");
    expectCode(1, osPackage("base", "1").special("keys/k", AE_IFCHR), "not a regular file");
    expectCode(1, osPackage("base", "1").special("keys/k", AE_IFIFO), "not a regular file");
    expectCode(1, osPackage("base", "1").link("app/web.toml", "x"), "not a regular file");
    expectCode(1, osPackage("base", "1").link("app", "/etc"), "does not belong");
}

TEST_F(QxpkgPackage, WhatDoesNotBelongIsRefused) {
    for (const char* name : {"root/file", "cache.toml", "keys/a/b", "keys/.hidden", "app/web",
                             "app/.web.toml", "app/a/web.toml", "README"}) {
        expectCode(1, osPackage("base", "1").file(name, "x"), "does not belong");
    }
    expectCode(1, osPackage("base", "1").folder("root/"), "does not belong");
    expectCode(1, appPackage("base", "web", "1").folder("app/"), "does not belong");
    expectCode(1, appPackage("base", "web", "1").file("app/db.toml", "x"), "does not belong");
}

TEST_F(QxpkgPackage, AnApplicationInsideBelongsToItsOsTemplateAndPlace) {
    expectCode(1, osPackage("base", "1").file("app/web.toml", appManifest("other", "web", "1")),
               "not an application template '.web' of '.base'");
    expectCode(1, osPackage("base", "1").file("app/web.toml", appManifest("base", "db", "1")),
               "not an application template '.web' of '.base'");
    expectCode(1, osPackage("base", "1").file("app/web.toml", osManifest("web", "1")),
               "not an application template '.web' of '.base'");
}

TEST_F(QxpkgPackage, NothingStandsInItTwice) {
    expectCode(1, osPackage("base", "1").file("template.toml", osManifest("base", "2")), "twice");
    expectCode(1, osPackage("base", "1").file("./template.toml", osManifest("base", "2")), "twice");
    expectCode(1, osPackage("base", "1").file("keys/k", "1").file("keys//k", "2"), "twice");
    expectCode(1,
               osPackage("base", "1")
                   .file("app/web.toml", appManifest("base", "web", "1"))
                   .file("app/web.toml", appManifest("base", "web", "2")),
               "twice");
}

TEST_F(QxpkgPackage, TooMuchIsRefused) {
    qxpkg::TemplatePackageLimits limits;
    limits.keyBytes = 3;
    EXPECT_EQ(reading(osPackage("base", "1").file("keys/k", "123"), limits).code, 0);
    EXPECT_EQ(reading(osPackage("base", "1").file("keys/k", "1234"), limits).code, 1);
    limits = {};
    limits.entries = 2;
    EXPECT_EQ(reading(osPackage("base", "1").file("keys/a", ""), limits).code, 0);
    EXPECT_EQ(reading(osPackage("base", "1").file("keys/a", "").file("keys/b", ""), limits).code,
              1);
    limits = {};
    limits.bytes = 1000;
    EXPECT_EQ(reading(osPackage("base", "1")
                          .file("keys/a", std::string(600, 'a'))
                          .file("keys/b", std::string(600, 'b')),
                      limits)
                  .code,
              1);
}

TEST_F(QxpkgPackage, APackageThatIsCutShortIsNeverRead) {
    const std::string file =
        osPackage("base", "1").file("keys/k", std::string(3000, 'k')).write(path());
    const std::string whole = qx_test::read_file(file);
    for (std::size_t length = 0; length + 1024 < whole.size(); length += 256) {
        const std::string cut = m_files.write("cut.tar", whole.substr(0, length));
        EXPECT_NE(outcomeOf([&] { qxpkg::readTemplatePackage(cut); }).code, 0) << length;
    }
}

class QxpkgPack : public QxpkgPackage {
protected:
    void SetUp() override {
        m_files.write("folder/template.toml", osManifest("base", "1"));
        m_files.write("folder/app/web.toml", appManifest("base", "web", "1"));
        m_files.write("folder/keys/main.asc", "KEY");
    }

    Outcome pack(const std::string& file) {
        return outcomeOf([&] { qxpkg::packTemplate(path("folder"), path(file)); });
    }
};

TEST_F(QxpkgPack, AFolderBecomesAPackage) {
    for (const char* file : {"a.tar", "a.tar.gz", "a.tar.xz", "a.tar.zst"}) {
        ASSERT_EQ(pack(file).code, 0);
        const TemplatePackage package = qxpkg::readTemplatePackage(path(file));
        EXPECT_EQ(package.main.text, osManifest("base", "1"));
        EXPECT_EQ(package.applications.size(), 1U);
        EXPECT_EQ(package.keys.at("main.asc"), "KEY");
    }
}

TEST_F(QxpkgPack, TheSameFolderGivesTheSameBytes) {
    ASSERT_EQ(pack("a.tar.gz").code, 0);
    ASSERT_EQ(pack("b.tar.gz").code, 0);
    EXPECT_EQ(qx_test::read_file(path("a.tar.gz")), qx_test::read_file(path("b.tar.gz")));
}

TEST_F(QxpkgPack, WhatInstallingWouldRefuseIsRefusedAndNothingIsLeft) {
    m_files.write("folder/root/file", "x");
    const Outcome outcome = pack("a.tar");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.reason.find("does not belong"), std::string::npos) << outcome.reason;
    EXPECT_EQ(treeText(m_files.path()).find("a.tar"), std::string::npos);
}

TEST_F(QxpkgPack, APackageThatWasThereStaysWhenPackingFails) {
    m_files.write("a.tar", "old");
    m_files.write("folder/template.toml", "technology = \"standard\"\n");
    EXPECT_EQ(pack("a.tar").code, 33);
    EXPECT_EQ(qx_test::read_file(path("a.tar")), "old");
}

TEST_F(QxpkgPack, LinksInTheFolderAreNotFollowed) {
    m_files.make_link("folder/keys/host", "/etc/hostname");
    EXPECT_EQ(pack("a.tar").code, 1);
}

}  // namespace
