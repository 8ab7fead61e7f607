// Container configuration files: reading, adding, correcting and their fatal ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "src/qxfsutil.h"
#include "tests/support/node_view.h"

namespace {

using qx_test::ChildResult;
using qx_test::read_file;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr char kPath[] = "/etc/sysconfig/qx-scripts/101.conf";

void print_result(int result) {
    printf("%d", result);
}

class Config : public testing::Test {
protected:
    void SetUp() override { QX_SKIP_WITHOUT_NODE_VIEW(); }

    ChildResult run(int level, const std::function<void()>& action) {
        return node_.run([&] {
            qxfsutil_debug_level = level;
            action();
        });
    }
    // What reading a parameter of 101 prints: the value in brackets, or "null".
    ChildResult read(const char* name, int level = 0) {
        return run(level, [&] {
            char* value = read_ve_config_param(101, name);
            value != nullptr ? printf("[%s]", value) : printf("null");
            free(value);
        });
    }
    std::string value_of(const char* name) { return read(name).output.out; }
    void config(std::string_view text) { node_.write_config(101, text); }
    std::string config() { return read_file(node_.config_path(101)); }

    qx_test::NodeView node_;
};

TEST_F(Config, ReadsAQuotedValue) {
    config("A=\"one two\"\nB=\"three\"\n");
    EXPECT_EQ(value_of("A"), "[one two]");
    EXPECT_EQ(value_of("B"), "[three]");
}

TEST_F(Config, ReadsAnUnquotedValue) {
    config("A=plain\n");
    EXPECT_EQ(value_of("A"), "[plain]");
}

TEST_F(Config, EndsATokenAtQuoteTabEqualSignAndNewline) {
    config("A=\"x=y\"\nB=\tv\tw\nC=\"q\"r\n");
    EXPECT_EQ(value_of("A"), "[x]");
    EXPECT_EQ(value_of("B"), "[v]");
    EXPECT_EQ(value_of("C"), "[q]");
}

TEST_F(Config, TheLastMatchingLineWins) {
    config("A=\"1\"\nB=\"2\"\nA=\"3\"\n");
    EXPECT_EQ(value_of("A"), "[3]");
}

TEST_F(Config, ALongerNameMatchesAsWell) {
    config("VE_PRIVATE=\"x\"\nVE_PRIVATE_X=\"y\"\n");
    EXPECT_EQ(value_of("VE_PRIVATE"), "[_X]");
    config("VE_PRIVATE_X=\"y\"\nVE_PRIVATE=\"x\"\n");
    EXPECT_EQ(value_of("VE_PRIVATE"), "[x]");
}

TEST_F(Config, TheNameMustBeginTheLine) {
    config(" A=\"1\"\n#A=\"2\"\n");
    EXPECT_EQ(value_of("A"), "null");
}

TEST_F(Config, AnAbsentParameterIsNull) {
    config("");
    EXPECT_EQ(value_of("A"), "null");
}

TEST_F(Config, ALineWithoutTokenReadsAsNull) {
    config("A=\"1\"\nA=\"\"\n");
    EXPECT_EQ(value_of("A"), "null");
}

TEST_F(Config, ReadsALastLineWithoutNewline) {
    config("A=\"1\"");
    EXPECT_EQ(value_of("A"), "[1]");
}

TEST_F(Config, ReadsValuesLongerThanABlock) {
    config("A=\"" + std::string(10000, 'v') + "\"\nB=\"2\"\n");
    EXPECT_EQ(value_of("A"), "[" + std::string(10000, 'v') + "]");
    EXPECT_EQ(value_of("B"), "[2]");
}

TEST_F(Config, CutsALineBeyondAMebibyteAndReadsTheNext) {
    config("A=\"" + std::string(3 << 20, 'v') + "\"\nB=\"2\"\n");
    EXPECT_EQ(value_of("A").size(), (1u << 20) - 3 + 2);
    EXPECT_EQ(value_of("B"), "[2]");
}

TEST_F(Config, SkipsDelimitersBeforeTheTokenAndKeepsBlanks) {
    config("A\t=\t\"=\" one two \"\nB= plain \n");
    EXPECT_EQ(value_of("A"), "[ one two ]");
    EXPECT_EQ(value_of("B"), "[ plain ]");
}

TEST_F(Config, SingleQuotesAreNoDelimiters) {
    config("A='one'\n");
    EXPECT_EQ(value_of("A"), "['one']");
}

TEST_F(Config, ALineEndsAtANulByte) {
    config(std::string_view("A=\"1\0x\"\nB=\"2\"\n", 15));
    EXPECT_EQ(value_of("A"), "[1]");
    EXPECT_EQ(value_of("B"), "[2]");
}

TEST_F(Config, ShowsWhatItReadAtLevelFour) {
    config("A=\"1\"\n");
    EXPECT_THAT(read("A", 4).output.err, EndsWith(std::string("A=\"1\" from ") + kPath + "\n"));
    EXPECT_EQ(read("A", 3).output.err, "");
}

TEST_F(Config, ShowsWhatItDidNotFindAtLevelFour) {
    config("");
    EXPECT_THAT(read("A", 4).output.err,
                EndsWith(std::string("Unable to load A from '") + kPath + "'\n"));
    EXPECT_EQ(read("A", 3).output.err, "");
}

TEST_F(Config, AMissingFileEndsTheProcess) {
    const ChildResult result = read("A");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err,
              std::string("Error: Can't stat '") + kPath + "': No such file or directory\n");
}

TEST_F(Config, AFileThatCannotBeOpenedEndsTheProcess) {
    // A socket is there and cannot be opened, by root neither; a chain of a hundred links is the
    // other way.
    std::string loop = node_.config_path(101);
    ASSERT_EQ(symlink("101.conf", loop.c_str()), 0);
    const ChildResult result = run(0, [] {
        if (chdir("/etc/sysconfig/qx-scripts") == 0) {
            read_ve_config_param(101, "A");
        }
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, std::string("Error: Unable to open '") + kPath +
                                     "': Too many levels of symbolic links\n");
}

TEST_F(Config, AddAppendsALine) {
    config("A=\"1\"\n");
    const ChildResult result = run(0, [] { print_result(add_ve_config_param(101, "B", "2 3")); });
    EXPECT_EQ(result.output.out, "0");
    EXPECT_EQ(config(), "A=\"1\"\nB=\"2 3\"\n");
}

TEST_F(Config, AddEndsAnOpenLastLineFirst) {
    config("A=\"1\"");
    run(0, [] { add_ve_config_param(101, "B", "2"); });
    EXPECT_EQ(config(), "A=\"1\"\nB=\"2\"\n");
}

TEST_F(Config, AddFillsAnEmptyFile) {
    config("");
    run(0, [] { add_ve_config_param(101, "B", "2"); });
    EXPECT_EQ(config(), "B=\"2\"\n");
}

TEST_F(Config, AddEndsTheProcessWhenTheFileCannotBeOpened) {
    ASSERT_EQ(symlink("101.conf", node_.config_path(101).c_str()), 0);
    const ChildResult result = run(0, [] {
        if (chdir("/etc/sysconfig/qx-scripts") == 0) {
            add_ve_config_param(101, "B", "2");
        }
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err, std::string("Error: Unable to open ") + kPath +
                                     ".\n: Too many levels of symbolic links\n");
}

TEST_F(Config, AddEndsTheProcessWhenWritingFails) {
    ASSERT_EQ(symlink("/dev/full", node_.config_path(101).c_str()), 0);
    const ChildResult result = run(0, [] { add_ve_config_param(101, "B", "2"); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err,
              "Error: Error during write to file '/dev/full'\n: No space left on device\n");
}

TEST_F(Config, CorrectRewritesTheLineInPlace) {
    config("A=\"1\"\nB=\"2\"\nAA=\"3\"\n");
    const ChildResult result =
        run(0, [] { print_result(correct_ve_config_param(101, "A", "new value")); });
    EXPECT_EQ(result.output.out, "0");
    EXPECT_EQ(config(), "A=\"new value\"\nB=\"2\"\nAA=\"3\"\n");
}

TEST_F(Config, CorrectShowsItsCommandAtLevelFour) {
    config("A=\"1\"\n");
    const auto correct = [] { correct_ve_config_param(101, "A", "2"); };
    EXPECT_THAT(
        run(4, correct).output.err,
        EndsWith(std::string("execute: sed -i 's#\\(^A=\\).*#\\1\"2\"#g' ") + kPath + " \n"));
    EXPECT_EQ(run(3, correct).output.err, "");
}

TEST_F(Config, CorrectEndsTheProcessWhenItsCommandFails) {
    config("A=\"1\"\n");
    const ChildResult result = run(0, [] { correct_ve_config_param(101, "A", "x#y"); });
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(
        result.output.err,
        HasSubstr(std::string("Error: Warning: Some error occur during correction config ") +
                  kPath + " \n"));
    EXPECT_EQ(config(), "A=\"1\"\n");
}

TEST_F(Config, SaveAddsWhatIsAbsent) {
    config("");
    const ChildResult result = run(4, [] { print_result(save_ve_config_param(101, "A", "1")); });
    EXPECT_EQ(result.output.out, "0");
    EXPECT_THAT(result.output.err, HasSubstr("new parameter: A=\"1\"\n"));
    EXPECT_EQ(config(), "A=\"1\"\n");
}

TEST_F(Config, SaveLeavesAnEqualValueAlone) {
    config("A=1\n");
    const ChildResult result = run(4, [] { print_result(save_ve_config_param(101, "A", "1")); });
    EXPECT_EQ(result.output.out, "0");
    EXPECT_THAT(result.output.err, Not(HasSubstr("new parameter")));
    EXPECT_EQ(config(), "A=1\n");
}

TEST_F(Config, SaveCorrectsADifferentValue) {
    config("A=\"1\"\n");
    const ChildResult result = run(4, [] { print_result(save_ve_config_param(101, "A", "2")); });
    EXPECT_EQ(result.output.out, "0");
    EXPECT_THAT(result.output.err, HasSubstr("new parameter: A=\"2\"\n"));
    EXPECT_EQ(config(), "A=\"2\"\n");
}

TEST_F(Config, SaveIsSilentBelowLevelFour) {
    config("A=\"1\"\n");
    EXPECT_EQ(run(3, [] { save_ve_config_param(101, "A", "2"); }).output.err, "");
    EXPECT_EQ(run(3, [] { save_ve_config_param(101, "B", "2"); }).output.err, "");
}

TEST_F(Config, SaveChangesNothingWhileOnlyALongerNameExists) {
    config("AB=\"1\"\n");
    EXPECT_EQ(run(0, [] { print_result(save_ve_config_param(101, "A", "2")); }).output.out, "0");
    EXPECT_EQ(config(), "AB=\"1\"\n");
}

TEST_F(Config, UpdateAddsAnAbsentList) {
    config("");
    EXPECT_EQ(run(0, [] { print_result(update_ve_config(101, "L", "a")); }).output.out, "0");
    EXPECT_EQ(config(), "L=\"a\"\n");
}

TEST_F(Config, UpdateAppendsAnItemAndCutsTrailingBlanks) {
    config("L=\"a b  \"\n");
    EXPECT_EQ(run(0, [] { print_result(update_ve_config(101, "L", "c")); }).output.out, "0");
    EXPECT_EQ(config(), "L=\"a b c\"\n");
}

TEST_F(Config, UpdateWritesNothingWhenTheItemIsListed) {
    config("L=\"a b\"\n");
    EXPECT_EQ(run(0, [] { print_result(update_ve_config(101, "L", "b")); }).output.out, "1");
    EXPECT_EQ(config(), "L=\"a b\"\n");
}

TEST_F(Config, UpdateWritesNothingWhenTheItemIsPartOfAWord) {
    config("L=\"abcd\"\n");
    EXPECT_EQ(run(0, [] { print_result(update_ve_config(101, "L", "bc")); }).output.out, "1");
    EXPECT_EQ(config(), "L=\"abcd\"\n");
}

TEST_F(Config, ReadsAndWritesAtTheTargetOfALink) {
    node_.write_config(102, "A=\"1\"\n");
    ASSERT_EQ(symlink("/etc/sysconfig/qx-scripts/102.conf", node_.config_path(101).c_str()), 0);
    run(0, [] {
        add_ve_config_param(101, "B", "2");
        correct_ve_config_param(101, "A", "3");
    });
    EXPECT_EQ(read_file(node_.config_path(102)), "A=\"3\"\nB=\"2\"\n");
    char target[8];
    EXPECT_GT(readlink(node_.config_path(101).c_str(), target, sizeof target), 0);
    EXPECT_EQ(value_of("A"), "[3]");
}

class Private : public Config {
protected:
    ChildResult area(int level = 0) {
        return run(level, [] {
            char* path = read_ve_private(101);
            printf("%s", path);
            free(path);
        });
    }
};

TEST_F(Private, PutsTheIdForTheVariable) {
    config("VE_PRIVATE=\"/qx/private/$VEID/x\"\n");
    EXPECT_EQ(area().output.out, "/qx/private/101/x");
}

TEST_F(Private, PutsTheIdForTheFirstVariableOnly) {
    config("VE_PRIVATE=\"/$VEID/$VEID\"\n");
    EXPECT_EQ(area().output.out, "/101/$VEID");
}

TEST_F(Private, TakesTheLastLineAsItsReaderDoes) {
    config("VE_PRIVATE=/a/$VEID\nVE_PRIVATE=/$VEI$VEID\n");
    EXPECT_EQ(area().output.out, "/$VEI101");
}

TEST_F(Private, IsTheValueWithoutAVariable) {
    config("VE_PRIVATE=\"/qx/private/x\"\n");
    EXPECT_EQ(area().output.out, "/qx/private/x");
}

TEST_F(Private, IsShownAtLevelFour) {
    config("VE_PRIVATE=\"/p/$VEID\"\n");
    EXPECT_THAT(area(4).output.err, EndsWith("private area of CT 101: '/p/101'\n"));
    EXPECT_EQ(area(3).output.err, "");
}

TEST_F(Private, ItsAbsenceEndsTheProcess) {
    config("");
    const ChildResult result = area();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output.err,
              std::string("Error: Can't read from ") + kPath + " config for CT 101.\n\n");
}

}  // namespace
