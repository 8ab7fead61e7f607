// Metadata of KR templates: what is read, what is refused, and that the message says where.
#include "node/kr/manifest.h"

#include <gtest/gtest.h>

#include "node/kr/packaging.h"
#include "tests/support/temp_dir.h"

namespace qxnode {
namespace {

constexpr const char* kOs = R"(technology = "kr"
kind = "os"
name = "debian"
version = "12.1"
summary = "A small system"
description = """
First line
second line
"""
architecture = "amd64"
packaging = "deb"
technologies = ["x86_64", "nptl"]
base_packages = ["base-files", "dash"]
late_base_packages = ["less"]
packages = ["hello", "dash"]
release = "bookworm"
variant = "essential"
network = true
cached = true

[[repositories]]
url = "copy:/srv/repo"
suite = "./"
trusted = true

[[repositories]]
url = "https://example.invalid/debian"
suite = "stable"
components = ["main", "contrib"]
key = "archive.gpg"
)";

constexpr const char* kApplication =
    "technology = \"kr\"\nkind = \"app\"\nname = \".mail\"\nos = \"debian\"\n";

std::string refusal(const std::string& text) {
    try {
        parseKrManifest(text, "t.toml");
    } catch (const Failure& error) {
        return error.what();
    }
    return "";
}

/// An OS manifest with one more line before its tables.
std::string osWith(const std::string& line) {
    return "technology = \"kr\"\nkind = \"os\"\nname = \"a\"\npackaging = \"rpm\"\n" + line + "\n";
}

TEST(KrManifest, anOsTemplateIsReadWhole) {
    const KrManifest manifest = parseKrManifest(kOs, "t.toml");

    EXPECT_TRUE(manifest.isOsTemplate);
    EXPECT_EQ(manifest.name, ".debian");
    EXPECT_EQ(manifest.osName, "");
    EXPECT_EQ(manifest.version, "12.1");
    EXPECT_EQ(manifest.summary, "A small system");
    EXPECT_EQ(manifest.description, (std::vector<std::string>{"First line", "second line"}));
    EXPECT_EQ(manifest.architecture, "amd64");
    EXPECT_EQ(manifest.packaging, findPackaging("deb"));
    EXPECT_EQ(manifest.technologies, (std::vector<std::string>{"x86_64", "nptl"}));
    EXPECT_EQ(manifest.release, "bookworm");
    EXPECT_EQ(manifest.variant, "essential");
    EXPECT_TRUE(manifest.network);
    EXPECT_TRUE(manifest.cached);
}

TEST(KrManifest, repositoriesKeepTheirOrderAndFields) {
    const KrManifest manifest = parseKrManifest(kOs, "t.toml");

    const KrRepository local{"copy:/srv/repo", "./", {}, true, "", ""};
    const KrRepository remote{
        "https://example.invalid/debian", "stable", {"main", "contrib"}, false, "archive.gpg", ""};
    EXPECT_EQ(manifest.repositories, (std::vector<KrRepository>{local, remote}));
}

TEST(KrManifest, allPackagesNamesEachOnceBasePackagesFirst) {
    EXPECT_EQ(parseKrManifest(kOs, "t.toml").allPackages(),
              (std::vector<std::string>{"base-files", "dash", "less", "hello"}));
}

TEST(KrManifest, anApplicationCarriesItsOsTemplateDotted) {
    const KrManifest manifest = parseKrManifest(kApplication, "t.toml");

    EXPECT_FALSE(manifest.isOsTemplate);
    EXPECT_EQ(manifest.name, ".mail");
    EXPECT_EQ(manifest.osName, ".debian");
    EXPECT_EQ(manifest.packaging, nullptr);
}

TEST(KrManifest, sourceLinesOfTheHostNeedTheNetwork) {
    const KrManifest manifest =
        parseKrManifest(osWith("[[repositories]]\nsources = \"/etc/apt/sources.list\""), "t.toml");

    ASSERT_EQ(manifest.repositories.size(), 1U);
    EXPECT_EQ(manifest.repositories[0].sources, "/etc/apt/sources.list");
    EXPECT_TRUE(manifest.repositories[0].needsNetwork());
}

TEST(KrManifest, aFolderOfTheHostNeedsNoNetwork) {
    EXPECT_FALSE((KrRepository{"file:/srv", "./", {}, true, "", ""}.needsNetwork()));
    EXPECT_TRUE((KrRepository{"http://example.invalid", "a", {}, true, "", ""}.needsNetwork()));
}

TEST(KrManifest, anotherTechnologyIsRefused) {
    EXPECT_EQ(refusal("technology = \"standard\"\n"),
              "t.toml: key 'technology': 'standard' is not 'kr'");
}

TEST(KrManifest, aMissingKeyIsNamed) {
    EXPECT_NE(refusal("technology = \"kr\"\nkind = \"os\"\n").find("key 'name': missing"),
              std::string::npos);
    EXPECT_NE(
        refusal("technology = \"kr\"\nkind = \"app\"\nname = \"a\"\n").find("key 'os': missing"),
        std::string::npos);
    EXPECT_NE(refusal("technology = \"kr\"\nkind = \"os\"\nname = \"a\"\n")
                  .find("key 'packaging': missing"),
              std::string::npos);
}

TEST(KrManifest, anUnknownKindOrPackagingIsRefused) {
    EXPECT_NE(refusal("technology = \"kr\"\nkind = \"vm\"\nname = \"a\"\n").find("t.toml:2:"),
              std::string::npos);
    EXPECT_NE(refusal("technology = \"kr\"\nkind = \"os\"\nname = \"a\"\npackaging = \"zip\"\n")
                  .find("'zip' is none of 'deb', 'rpm'"),
              std::string::npos);
}

TEST(KrManifest, namesThatAreOptionsPathsOrPatternsAreRefused) {
    for (const char* name : {"-y", "a/b", "../x", "a b", "a*", "", ".", "..a"}) {
        EXPECT_NE(refusal(osWith("packages = [\"" + std::string(name) + "\"]")), "") << name;
        EXPECT_NE(refusal("technology = \"kr\"\nkind = \"os\"\npackaging = \"deb\"\nname = \"" +
                          std::string(name) + "\"\n"),
                  "")
            << name;
    }
}

TEST(KrManifest, wordsThatWouldChangeASourceLineAreRefused) {
    for (const char* line :
         {"url = \"copy:/a b\"", "url = \"copy:/a\\n\"", "url = \"ftp://a\"", "url = \"/srv\"",
          "url = \"copy:/a\"\nsuite = \"[trusted=yes]\"",
          "url = \"copy:/a\"\ncomponents = [\"main # \"]", "url = \"copy:/a\"\nkey = \"../k\"",
          "url = \"copy:/a\"\nkey = \".k\"", "sources = \"relative\""}) {
        EXPECT_NE(refusal(osWith("[[repositories]]\n" + std::string(line))), "") << line;
    }
}

TEST(KrManifest, aFieldOfTheWrongTypeIsNamedWithItsLine) {
    EXPECT_EQ(refusal(osWith("packages = \"hello\"")),
              "t.toml:5: key 'packages': expected an array of strings, found string");
}

class KrTemplateFolder : public ::testing::Test {
protected:
    void put(const std::string& path, const std::string& text) { m_folder.write(path, text); }
    qx_test::TempDir m_folder;
};

TEST_F(KrTemplateFolder, templatesAreNamedInOrderWithoutTheUnfinished) {
    put("debian/template.toml", kOs);
    put("alma/template.toml", "");
    put(".new/template.toml", kOs);
    put("empty/readme", "");
    put("debian/app/web.toml", "");
    put("debian/app/mail.toml", kApplication);
    put("debian/app/notes.txt", "");
    put("debian/app/.draft.toml", "");

    EXPECT_EQ(krOsNames(m_folder.path()), (std::vector<std::string>{"alma", "debian"}));
    EXPECT_EQ(krApplicationNames(m_folder.path(), ".debian"),
              (std::vector<std::string>{"mail", "web"}));
}

TEST_F(KrTemplateFolder, aFolderThatIsNotThereHoldsNoTemplates) {
    EXPECT_TRUE(krOsNames(m_folder.path() + "/none").empty());
    EXPECT_TRUE(krApplicationNames(m_folder.path(), "none").empty());
}

TEST_F(KrTemplateFolder, manifestsAreReadByNameWithAndWithoutTheDot) {
    put("debian/template.toml", kOs);
    put("debian/app/mail.toml", kApplication);

    EXPECT_EQ(readKrOsManifest(m_folder.path(), ".debian").name, ".debian");
    EXPECT_EQ(readKrOsManifest(m_folder.path(), "debian").name, ".debian");
    EXPECT_EQ(readKrApplicationManifest(m_folder.path(), "debian", ".mail").name, ".mail");
}

TEST_F(KrTemplateFolder, aManifestInTheWrongPlaceIsRefused) {
    put("ubuntu/template.toml", kOs);
    put("ubuntu/app/mail.toml", kApplication);

    EXPECT_THROW(readKrOsManifest(m_folder.path(), "ubuntu"), Failure);
    EXPECT_THROW(readKrApplicationManifest(m_folder.path(), "ubuntu", "mail"), Failure);
}

TEST_F(KrTemplateFolder, aNameThatIsAPathIsRefusedBeforeAnythingIsOpened) {
    EXPECT_THROW(readKrOsManifest(m_folder.path(), "../debian"), Failure);
    EXPECT_THROW(readKrApplicationManifest(m_folder.path(), "debian", "a/b"), Failure);
}

}  // namespace
}  // namespace qxnode
