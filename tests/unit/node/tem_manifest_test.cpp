// Reading manifests, versions, records and journals: pure functions over text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QXA/QXATEMLocal.h"
#include "node/agent/tem/area_record.h"
#include "node/agent/tem/manifest.h"
#include "node/support/failure.h"
#include "node/template/entry_path.h"
#include "node/template/template_journal.h"
#include "node/template/version_order.h"

namespace {

using namespace QXA::tem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kNeeded =
    "technology = \"standard\"\nkind = \"os\"\nname = \"os\"\nversion = \"1\"\n";

Manifest parsed(const std::string& more) {
    return parseManifest(kNeeded + more, "m");
}

// Code and message of a refusal; code 0 for none.
template <class Call>
std::pair<int, std::string> refusal(Call call) {
    try {
        call();
    } catch (const qxnode::Failure& failure) {
        return {failure.code(), failure.what()};
    }
    return {0, ""};
}

TEST(TemManifest, EveryFieldArrives) {
    const Manifest manifest = parsed(
        "summary = \"s\"\ndescription = \"d\"\nplatform = \"P\"\narchitecture = \"x86_64\"\n"
        "technologies = [\"z\", \"a\"]\ndetail = \"t\"\npackage_flag = false\nvendor = \"v\"\n"
        "origin = \"o\"\nsetid = [\"/bin/su\", \"bin/a\"]\n"
        "packages = [{name = \"p\", version = \"1\", details = [\"x\"]}]\n"
        "conflicts = [{name = \"c\", version = \"2\"}]\n[properties]\nkey = \"value\"\n");
    const QXA::QXATemplateConfigInfo& config = manifest.config;
    EXPECT_EQ(config.name, "os");
    EXPECT_EQ(config.version, "1");
    EXPECT_TRUE(config.isOsTemplate);
    EXPECT_EQ(config.summary, "s");
    EXPECT_EQ(config.description, "d");
    EXPECT_EQ(config.platform, "P");
    EXPECT_EQ(config.architecture, "x86_64");
    EXPECT_THAT(config.technologies, ElementsAre("a", "z")) << "kept in order";
    EXPECT_EQ(config.detail, "t");
    EXPECT_FALSE(config.packageFlag);
    EXPECT_EQ(config.packages.at("p").version, "1");
    EXPECT_THAT(config.packages.at("p").details, ElementsAre("x"));
    EXPECT_EQ(config.properties.at("key"), "value");
    EXPECT_EQ(manifest.vendor, "v");
    EXPECT_EQ(manifest.origin, "o");
    EXPECT_THAT(manifest.setIdFiles, ElementsAre("bin/a", "bin/su"));
    EXPECT_THAT(manifest.conflicts, ElementsAre(QXA::QXATemplate("c", "2")));
}

TEST(TemManifest, MissingFieldsHaveTheirDefaults) {
    const Manifest manifest = parsed("");
    EXPECT_EQ(manifest.config.platform, "Linux");
    EXPECT_EQ(manifest.config.architecture, "");
    EXPECT_TRUE(manifest.config.packageFlag);
    EXPECT_TRUE(manifest.config.packages.empty());
}

TEST(TemManifest, TwoVersionsOfAPackageHaveTheirOwnKeys) {
    const Manifest manifest =
        parsed("packages = [{name = \"k\", version = \"1\"}, {name = \"k\", version = \"2\"}]\n");
    EXPECT_EQ(manifest.config.packages.at("k").version, "1");
    EXPECT_EQ(manifest.config.packages.at("k/2").version, "2");
}

TEST(TemManifest, BaseOsIsForApplications) {
    const Manifest manifest = parseManifest(
        "technology = \"standard\"\nkind = \"app\"\nname = \"a\"\nversion = \"1\"\n"
        "base_os = [{name = \"os\"}, {name = \"os2\", version = \"3\"}]\n",
        "m");
    EXPECT_FALSE(manifest.config.isOsTemplate);
    EXPECT_THAT(manifest.config.baseOsTemplates,
                ElementsAre(QXA::QXATemplate("os", ""), QXA::QXATemplate("os2", "3")));
    EXPECT_THAT(refusal([] { parsed("base_os = [{name = \"x\"}]\n"); }).second,
                HasSubstr("is for application templates only"));
}

struct BadField {
    const char* text;
    const char* reason;
};

class TemManifestBad : public testing::TestWithParam<BadField> {};

TEST_P(TemManifestBad, IsRefusedByName) {
    const auto [code, message] = refusal([] { parsed(GetParam().text); });
    EXPECT_EQ(code, QXA::kTemDamaged);
    EXPECT_THAT(message, testing::StartsWith("m: "));
    EXPECT_THAT(message, HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, TemManifestBad,
    testing::Values(
        BadField{"summary = 1\n", "field 'summary' must be a string, not of type integer"},
        BadField{"summary = \"a\\u0000b\"\n", "field 'summary' holds a NUL"},
        BadField{"package_flag = \"yes\"\n", "field 'package_flag' must be a boolean"},
        BadField{"technologies = \"x\"\n", "field 'technologies' must be an array of strings"},
        BadField{"technologies = [1]\n", "field 'technologies' must be a string"},
        BadField{"packages = [\"x\"]\n", "field 'packages[0]' must be a table"},
        BadField{"packages = {}\n", "field 'packages' must be an array of tables"},
        BadField{"packages = [{version = \"1\"}]\n", "field 'packages[0].name' is missing"},
        BadField{"packages = [{name = \"a\"}, {name = \"a\"}]\n", "names package 'a' twice"},
        BadField{"conflicts = [{name = \"../x\"}]\n", "'conflicts[0].name' is not a template name"},
        BadField{"conflicts = [{name = \"x\", version = \"/\"}]\n", "is not a version"},
        BadField{"properties = 1\n", "field 'properties' must be a table of strings"},
        BadField{"properties = {a = 1}\n", "field 'properties.a' must be a string"},
        BadField{"setid = [\"/\"]\n", "field 'setid' holds a path that names no file"},
        BadField{"summary = \n", "(line 5)"}));

TEST(TemManifest, NeededFieldsAreMissed) {
    const auto message = [](const char* text) {
        return refusal([&] { parseManifest(text, "m"); }).second;
    };
    EXPECT_THAT(message(""), HasSubstr("field 'technology' is missing"));
    EXPECT_THAT(message("technology = \"standard\"\n"), HasSubstr("field 'name' is missing"));
    EXPECT_THAT(message("technology = \"standard\"\nname = \"a\"\n"),
                HasSubstr("field 'version' is missing"));
    EXPECT_THAT(message("technology = \"standard\"\nname = \"a\"\nversion = \"1\"\n"),
                HasSubstr("field 'kind' is missing"));
    EXPECT_THAT(message("technology = \"standard\"\nname = \"a\"\nversion = \"1\"\nkind = \"x\"\n"),
                HasSubstr("field 'kind' must be \"os\" or \"app\""));
}

TEST(TemManifest, OtherTechnologyHasItsOwnCode) {
    EXPECT_EQ(refusal([] { parseManifest("technology = \"kr\"\n", "m"); }).first,
              QXA::kTemNotStandard);
}

TEST(TemVersion, NewestComesLast) {
    EXPECT_TRUE(versionLess("9", "10"));
    EXPECT_TRUE(versionLess("1.9.2", "1.10"));
    EXPECT_TRUE(versionLess("20240101", "20240102"));
    EXPECT_FALSE(versionLess("1", "1"));
}

TEST(TemVersion, NamesThatLeadElsewhereAreNone) {
    for (const char* name : {"", ".", "..", ".x", "-x", "a/b", "a b", "a\n", "kr", "vc", "\xff"}) {
        EXPECT_FALSE(isValidName(name)) << name;
    }
    for (const char* name : {"a", "centos-4", "x86_64", "1:2.3~rc+1"}) {
        EXPECT_TRUE(isValidName(name)) << name;
    }
    EXPECT_TRUE(isValidName(std::string(120, 'a')));
    EXPECT_FALSE(isValidName(std::string(121, 'a')));
}

TEST(TemEntryPath, IsBroughtIntoOneForm) {
    EXPECT_EQ(checkedEntryPath("./root//a/./b/"), "root/a/b");
    EXPECT_EQ(checkedEntryPath("./"), "");
    EXPECT_THAT(refusal([] { checkedEntryPath(std::string(256, 'a')); }).second,
                HasSubstr("has a component that is too long"));
    std::string deep;
    for (int i = 0; i < 2000; ++i) {
        deep += "a/";
    }
    EXPECT_THAT(refusal([&] { checkedEntryPath(deep); }).second, HasSubstr("is too long"));
}

TEST(TemRecord, SurvivesWritingAndReading) {
    AreaRecord record{{"os", "1"}, true, {}};
    AreaEntry directory;
    directory.mode = 0755;
    record.entries["etc"] = directory;
    AreaEntry file;
    file.kind = AreaEntry::Kind::shortcut;
    file.mode = 01644;
    file.uid = 7;
    file.gid = 8;
    file.mtime = {12, 34};
    file.saved = 5;
    file.text = "////os/1/root/-";
    record.entries["-"] = file;
    AreaEntry link;
    link.kind = AreaEntry::Kind::link;
    link.text = "a b\n%\xff";
    record.entries["etc/a b\n"] = link;
    const AreaRecord read = parseRecord(formatRecord(record), "r");
    EXPECT_EQ(read.key, record.key);
    EXPECT_TRUE(read.isOsTemplate);
    ASSERT_EQ(read.entries.size(), 3U);
    for (const auto& [path, entry] : record.entries) {
        EXPECT_TRUE(sameEntry(read.entries.at(path), entry)) << path;
        EXPECT_EQ(read.entries.at(path).saved, entry.saved);
    }
}

TEST(TemRecord, DamagedLinesAreNamed) {
    const std::string head = "qxtem-record 1\ntemplate os 1 os\n";
    for (const char* line :
         {"", "x 755 0 0 0 0 0 a -", "d 755 0 0 0 0 0 ../a -", "d 755 0 0 0 0 0 /a -",
          "d 755 0 0 0 0 0 a", "d 755 0 0 0 0 0 a - b", "f 755 0 0 0 0 0 a text",
          "d 755 0 0 0 0 0 a%0 -", "d 755 0 0 0 0 0 a%00 -", "l 777 0 0 0 0 0 a -"}) {
        EXPECT_EQ(refusal([&] { parseRecord(head + line + "\n", "r"); }).second, "r: bad line 3")
            << line;
    }
    EXPECT_EQ(refusal([] { parseRecord("", "r"); }).second, "r: bad line 1");
    EXPECT_EQ(refusal([] { parseRecord("qxtem-record 1\ntemplate .. 1 os\n", "r"); }).second,
              "r: bad line 2");
}

TEST(TemRecord, OneOfANewerVersionIsRefusedAsThat) {
    EXPECT_EQ(refusal([] { parseRecord("qxtem-record 2\nwhatever\n", "r"); }).second,
              "r: 'qxtem-record 2' is of a newer version of this program");
    for (const char* text : {"qxtem-record \n", "qxtem-record x\n", "qxtem-record 12345678901\n"}) {
        EXPECT_EQ(refusal([&] { parseRecord(text, "r"); }).second, "r: bad line 1") << text;
    }
}

TEST(TemJournal, OneOfANewerVersionIsRefusedAsThat) {
    EXPECT_EQ(
        refusal([] { parseJournal("qxtem-journal 2\ngeneration 1\nstate done\n"); }).second,
        "/qx/template/.qxtem/journal: 'qxtem-journal 2' is of a newer version of this program");
}

TEST(TemJournal, SurvivesWritingAndReading) {
    const TemplateJournal journal{7,
                                  true,
                                  {{JournalStep::Kind::place, 12, ".qxtem/staging/0", "os/1"},
                                   {JournalStep::Kind::drop, 13, ".qxtem/staging/1", "app/2"}}};
    EXPECT_EQ(parseJournal(formatJournal(journal)), journal);
}

TEST(TemJournal, DamagedTextIsRefused) {
    const std::string head = "qxtem-journal 1\ngeneration 1\nstate pending\n";
    for (const std::string& text :
         {std::string(), std::string("x\n"), std::string("qxtem-journal 1\n"),
          std::string("qxtem-journal 1\ngeneration x\nstate done\n"),
          std::string("qxtem-journal 1\ngeneration 1\nstate odd\n"), head + "place 1 a\n",
          head + "place 1 a ../b\n", head + "place 1 /a b\n", head + "move 1 a b\n",
          head + "place 1 a b c\n"}) {
        EXPECT_EQ(refusal([&] { parseJournal(text); }).first, qxnode::Failure::kNoCode) << text;
    }
}

}  // namespace
