// Container configuration files: what a line may be, what stays, how a file is replaced.
#include "layout/container_config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "layout/paths.h"
#include "tests/support/temp_dir.h"

namespace {

using qx_test::TempDir;
using qxnode::ContainerConfig;

ContainerConfig configOf(std::string_view text) {
    std::string error;
    auto config = ContainerConfig::parse(text, "7.conf", error);
    EXPECT_TRUE(config) << error;
    return config.value_or(ContainerConfig());
}

TEST(ContainerConfigTest, TakesTheTextBetweenQuotationMarksAsItStands) {
    const auto config = configOf("VE_PRIVATE=\"/a b\\n'$VEID\"\n");
    EXPECT_EQ(config.get("VE_PRIVATE"), "/a b\\n'$VEID");
}

TEST(ContainerConfigTest, EndsABareValueAtTheFirstBlank) {
    EXPECT_EQ(configOf("A=one # rest\n").get("A"), "one");
}

TEST(ContainerConfigTest, KnowsUnsetFromEmpty) {
    const auto config = configOf("A=\"\"\n");
    EXPECT_EQ(config.get("A"), "");
    EXPECT_EQ(config.get("B"), std::nullopt);
}

TEST(ContainerConfigTest, LetsTheLastLineOfANameCount) {
    const auto config = configOf("A=\"1\"\nA=\"2\"\n");
    EXPECT_EQ(config.get("A"), "2");
    EXPECT_EQ(config.lineOf("A"), 2U);
}

TEST(ContainerConfigTest, TakesALastLineWithoutItsEnd) {
    EXPECT_EQ(configOf("A=\"1\"\nB=\"2\"").get("B"), "2");
}

struct BadLine {
    const char* defect;
    std::string text;
    const char* error;
};

class BadLineTest : public testing::TestWithParam<BadLine> {};

TEST_P(BadLineTest, IsRefusedWithFileLineAndReason) {
    std::string error;
    EXPECT_FALSE(ContainerConfig::parse(GetParam().text, "7.conf", error));
    EXPECT_EQ(error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadLineTest,
    testing::Values(
        BadLine{"no_equals", "\n# note\nnonsense\n", "7.conf:3: no NAME=\"value\""},
        BadLine{"no_name", "=\"x\"\n", "7.conf:1: not a parameter name before '='"},
        BadLine{"digit_first", "1A=\"x\"\n", "7.conf:1: not a parameter name before '='"},
        BadLine{"blank_in_name", "A B=\"x\"\n", "7.conf:1: not a parameter name before '='"},
        BadLine{"unclosed", "A=\"1\"\nEID=\"x\n", "7.conf:2: the value of EID has no closing '\"'"},
        BadLine{"text_behind", "A=\"1\" x\n", "7.conf:1: text behind the value of A"},
        BadLine{"nul", std::string("A=\"\0\"\n", 6),
                "7.conf:1: the value of A holds a character that is not allowed"}),
    [](const auto& line) { return std::string(line.param.defect); });

TEST(ContainerConfigTest, RefusesAFileThatIsTooLong) {
    std::string error;
    const std::string text(ContainerConfig::kMaxBytes + 1, '\n');
    EXPECT_FALSE(ContainerConfig::parse(text, "7.conf", error));
    EXPECT_EQ(error, "7.conf: longer than 1048576 bytes");
}

TEST(ContainerConfigTest, RefusesTooManyLines) {
    std::string error;
    EXPECT_FALSE(
        ContainerConfig::parse(std::string(ContainerConfig::kMaxLines + 1, '\n'), "7.conf", error));
    EXPECT_EQ(error, "7.conf:10001: more than 10000 lines");
}

TEST(ContainerConfigTest, SetsAParameterInItsPlaceAndKeepsTheRest) {
    auto config = configOf("# kept  \n\nA=1 # why\n\tB=\"2\"\n");
    EXPECT_TRUE(config.set("A", "new"));
    EXPECT_EQ(config.text(), "# kept  \n\nA=\"new\"\n\tB=\"2\"\n");
}

TEST(ContainerConfigTest, AppendsAParameterThatIsNotThere) {
    auto config = configOf("A=\"1\"\n");
    EXPECT_TRUE(config.set("B", "2"));
    EXPECT_EQ(config.text(), "A=\"1\"\nB=\"2\"\n");
}

TEST(ContainerConfigTest, RefusesValuesThatNoLineCanHold) {
    ContainerConfig config;
    EXPECT_FALSE(config.set("A", "a\"b"));
    EXPECT_FALSE(config.set("A", "a\nB=\"x"));
    EXPECT_FALSE(config.set("not a name", "x"));
    EXPECT_EQ(config.text(), "");
}

TEST(ContainerConfigTest, RemovesEveryLineOfAParameter) {
    auto config = configOf("A=\"1\"\nB=\"2\"\nA=\"3\"\n# A\n");
    config.remove("A");
    EXPECT_EQ(config.text(), "B=\"2\"\n# A\n");
}

TEST(ContainerConfigTest, SplitsTemplatesAtBlanks) {
    const std::vector<std::string> expected = {".a", "b/1"};
    EXPECT_EQ(configOf("TEMPLATES=\"  .a \tb/1 \"\n").templates(), expected);
}

TEST(ContainerConfigTest, JoinsTemplatesWithBlanks) {
    ContainerConfig config;
    EXPECT_TRUE(config.setTemplates({"a/1", "b"}));
    EXPECT_EQ(config.text(), "TEMPLATES=\"a/1 b\"\n");
    EXPECT_FALSE(config.setTemplates({"a b"}));
}

TEST(ContainerConfigTest, ReplacesTheFirstNumberVariableInThePrivateArea) {
    EXPECT_EQ(configOf("VE_PRIVATE=\"/x/$VEID/$VEID\"\n").privateArea(7), "/x/7/$VEID");
    EXPECT_EQ(ContainerConfig().privateArea(7), "/qx/private/7");
}

TEST(ContainerConfigTest, KeepsTheModeOfAFileThatItReplaces) {
    const TempDir dir;
    const std::string path = dir.write("7.conf", "A=\"1\"\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    auto config = configOf("A=\"2\"\n");
    std::string error;
    ASSERT_TRUE(config.write(path, error)) << error;
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640U);
    EXPECT_EQ(qx_test::read_file(path), "A=\"2\"\n");
}

TEST(ContainerConfigTest, DoesNotReplaceAFileByWhatNoReaderTakes) {
    const TempDir files;
    const std::string path = files.write("7.conf", "A=\"1\"\n");
    ContainerConfig config;
    ASSERT_TRUE(config.set("A", std::string(ContainerConfig::kMaxBytes, 'x')));
    std::string error;
    EXPECT_FALSE(config.write(path, error));
    EXPECT_EQ(error, path + ": longer than 1048576 bytes");
    EXPECT_EQ(qx_test::read_file(path), "A=\"1\"\n");
}

TEST(ContainerConfigTest, NamesAFileThatCannotBeRead) {
    std::string error;
    EXPECT_FALSE(ContainerConfig::read("/nowhere/7.conf", error));
    EXPECT_EQ(error, "cannot read '/nowhere/7.conf': No such file or directory");
}

TEST(VeidOfConfigNameTest, TakesPlainNumbersOnly) {
    EXPECT_EQ(qxnode::veidOfConfigName("101.conf"), 101);
    EXPECT_EQ(qxnode::veidOfConfigName("0.conf"), 0);
    for (const char* name : {"101", "x.conf", ".conf", "-1.conf", "+1.conf", "01.conf", "1x.conf",
                             "99999999999.conf", "101.conf~"}) {
        EXPECT_EQ(qxnode::veidOfConfigName(name), std::nullopt) << name;
    }
}

TEST(ContainerNumbersTest, AreThoseOfTheConfigurationsTheSmallestFirst) {
    const TempDir files;
    for (const char* name : {"102.conf", "20.conf", "7.conf", ".9.lock", "8.conf~"}) {
        files.write(name, "");
    }
    std::error_code failure;
    EXPECT_EQ(qxnode::containerNumbers(files.path(), failure), (std::vector<int>{7, 20, 102}));
    EXPECT_FALSE(failure);
}

TEST(ContainerNumbersTest, TellAFolderThatCannotBeRead) {
    std::error_code failure;
    EXPECT_TRUE(qxnode::containerNumbers("/nowhere", failure).empty());
    EXPECT_EQ(failure, std::errc::no_such_file_or_directory);
}

}  // namespace
