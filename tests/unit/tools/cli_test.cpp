// What every tool's command line answers alike: wrong words, versions, completion, lost output.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "cli/command_line.h"
#include "tests/support/capture.h"

namespace cli {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr ExitCodes kCodes{1, 2};

enum class Colour { red, blue };

/// A tool with a command, a group of commands, and options of each kind.
class CommonCommandLine : public testing::Test {
protected:
    struct Ending {
        std::optional<int> code;
        qx_test::Output output;
    };

    CommonCommandLine() {
        m_app.require_subcommand(1);
        m_app.fallthrough();
        auto* list = m_app.add_subcommand("list", "List");
        list->add_flag("-F", m_letter, "Of one letter");
        list->add_option("-n,--number", m_number, "A number");
        addChoice<Colour>(m_app, "--colour", m_colour,
                          {{"red", Colour::red}, {"blue", Colour::blue}}, "red or blue");
        auto* group = m_app.add_subcommand("group", "Group");
        group->require_subcommand(1);
        group->add_subcommand("inner", "Inner");
        addCommonParts(m_app);
        for (auto* command : m_app.get_subcommands({})) {
            command->fallthrough();
        }
    }

    Ending parsed(std::vector<const char*> words) {
        words.insert(words.begin(), "tool");
        Ending ending;
        ending.output = qx_test::captured([&] {
            ending.code = parse(m_app, static_cast<int>(words.size()), words.data(), kCodes);
        });
        return ending;
    }

    void expectWrong(const std::vector<const char*>& words, const std::string& reason) {
        const Ending ending = parsed(words);
        EXPECT_EQ(ending.code, 2);
        EXPECT_EQ(ending.output.out, "");
        EXPECT_EQ(ending.output.err, "tool: " + reason + "\n");
    }

    CLI::App m_app{"A tool", "tool"};
    bool m_letter = false;
    int m_number = 0;
    Colour m_colour = Colour::red;
};

TEST_F(CommonCommandLine, aCommandThatIsRightIsLeftToTheTool) {
    EXPECT_EQ(parsed({"list", "--number", "3"}).code, std::nullopt);
    EXPECT_EQ(m_number, 3);
}

TEST_F(CommonCommandLine, anUnknownCommandIsNamed) {
    expectWrong({"lsit", "--number", "3"}, "there is no command 'lsit'; see tool --help");
    expectWrong({"group", "outer"}, "there is no command 'outer'; see tool group --help");
}

TEST_F(CommonCommandLine, aMissingCommandIsAskedFor) {
    expectWrong({}, "a command is expected; see tool --help");
    expectWrong({"group"}, "a command is expected; see tool group --help");
}

TEST_F(CommonCommandLine, anUnknownOptionIsNamedWithTheCommandsHelp) {
    expectWrong({"list", "--nosuch"}, "there is no option '--nosuch'; see tool list --help");
    expectWrong({"--nosuch"}, "there is no option '--nosuch'; see tool --help");
}

TEST_F(CommonCommandLine, aWordTooManyIsNamed) {
    expectWrong({"list", "more"}, "'more' is one word too many; see tool list --help");
}

TEST_F(CommonCommandLine, aChoiceIsOneOfItsWordsInAnyCase) {
    EXPECT_EQ(parsed({"list", "--colour", "BLUE"}).code, std::nullopt);
    EXPECT_EQ(m_colour, Colour::blue);
    expectWrong({"list", "--colour", "1"}, "--colour: 1 not in {red,blue}; see tool list --help");
}

TEST_F(CommonCommandLine, helpShowsTheWordsOfAChoiceAndNoNumbers) {
    const Ending ending = parsed({"--help"});

    EXPECT_EQ(ending.code, 0);
    EXPECT_THAT(ending.output.out, HasSubstr("red or blue"));
    EXPECT_THAT(ending.output.out, Not(HasSubstr("->")));
}

TEST_F(CommonCommandLine, theVersionIsTold) {
    const Ending ending = parsed({"--version"});

    EXPECT_EQ(ending.code, 0);
    EXPECT_THAT(ending.output.out, testing::StartsWith("tool "));
}

TEST_F(CommonCommandLine, completionKnowsLettersThatHaveNoWord) {
    for (const char* shell : {"bash", "zsh"}) {
        const Ending ending = parsed({"completion", shell});
        EXPECT_EQ(ending.code, 0);
        EXPECT_THAT(ending.output.out,
                    HasSubstr("\"tool list\"*) candidates=(--help -F --number "));
    }
    const Ending fish = parsed({"completion", "fish"});
    EXPECT_THAT(fish.output.out, HasSubstr("__fish_seen_subcommand_from list' -s F -d "));
    EXPECT_THAT(fish.output.out, HasSubstr("__fish_seen_subcommand_from list' -s n -l number -d "));
}

TEST_F(CommonCommandLine, completionIsForKnownShells) {
    expectWrong({"completion", "tcsh"},
                "SHELL: tcsh not in {bash,zsh,fish}; see tool completion --help");
}

/// Runs the action with a standard output that takes nothing.
int onFullDevice(const std::function<int()>& action) {
    std::fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    dup2(full, STDOUT_FILENO);
    const int code = action();
    std::fflush(stdout);
    std::clearerr(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    close(full);
    return code;
}

TEST(Finish, outputThatIsLostIsAFailureWithItsReason) {
    int code = 0;
    const auto said = qx_test::captured([&] {
        code = onFullDevice([] {
            std::puts("result");
            return finish("tool", 0, kCodes);
        });
    });

    EXPECT_EQ(code, 1);
    EXPECT_EQ(said.err, "tool: cannot write to standard output: No space left on device\n");
}

TEST(Finish, aFailureOfTheToolItselfKeepsItsCode) {
    int code = 0;
    qx_test::captured([&] {
        code = onFullDevice([] {
            std::puts("result");
            return finish("tool", 27, kCodes);
        });
    });

    EXPECT_EQ(code, 27);
}

}  // namespace
}  // namespace cli
