// What the command lines of all tools share: how an error in the line is reported, the options and
// commands that every tool has, and how a tool ends.
#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/// A tool's exit codes for a wrong command line and for output that cannot be written.
struct ExitCodes {
    int failed = 1;
    int usage = 2;
};

/// Adds the option --version and the command `completion SHELL`. Call it last: `completion` takes
/// no options of the tool's own.
void addCommonParts(CLI::App& app);

/// Says what is wrong with a command line that could not be parsed, and how to get help:
/// "there is no command 'lsit'; see qxa --help".
std::string usageReason(const CLI::App& app, const CLI::ParseError& error);

/// Adds the option --node-dir, which the environment variable QXA_NODE_DIR gives, too.
CLI::Option* addNodeDirectory(CLI::App& app, std::string& directory);

/// The same for a reason that the tool itself found.
std::string usageReason(const CLI::App& app, const std::string& reason);

/// Parses a command line. @return an exit code if the tool must end now: the line is wrong (the
/// reason was printed to standard error), or help, version or a completion script was printed.
std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, const ExitCodes& codes);

/// Flushes standard output. @return `code`; if something could not be written, says so on standard
/// error and returns `codes.failed` in place of 0.
int finish(const std::string& tool, int code, const ExitCodes& codes);

/// Adds an option whose value is one of these words, in upper or lower case.
template <typename Value>
CLI::Option* addChoice(CLI::App& app, const std::string& name, Value& value,
                       const std::vector<std::pair<std::string, Value>>& choices,
                       const std::string& help) {
    std::vector<std::string> words;
    for (const auto& choice : choices) {
        words.push_back(choice.first);
    }
    // IsMember has already changed the word to the case used in `choices`.
    return app
        .add_option_function<std::string>(
            name,
            [&value, choices](const std::string& word) {
                value = std::find_if(choices.begin(), choices.end(), [&](const auto& choice) {
                            return choice.first == word;
                        })->second;
            },
            help)
        ->transform(CLI::IsMember(words, CLI::ignore_case).description(""));
}

}  // namespace cli
