// What the command lines of all tools have in common: how a wrong one is told, what every tool
// answers without doing its work, and how it ends.
#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/// The exit codes of a tool that are needed before and after its own work.
struct ExitCodes {
    int failed = 1;
    int usage = 2;
};

/// Adds the option --version and the command `completion SHELL`. Call it last: `completion` takes
/// no options of the tool's own.
void addCommonParts(CLI::App& app);

/// What is wrong with a command line that could not be parsed, and where help is to be had:
/// "there is no command 'lsit'; see qxa --help".
std::string usageReason(const CLI::App& app, const CLI::ParseError& error);

/// A reason of the tool's own in the same words.
std::string usageReason(const CLI::App& app, const std::string& reason);

/// Parses a command line. @return the exit code where the tool ends here, because the line is wrong
/// (the reason is then on standard error) or has been answered: help, version, a completion script.
std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, const ExitCodes& codes);

/// Writes out what standard output still holds. @return `code`, or `codes.failed` in place of 0
/// when not everything could be written; that is then on standard error.
int finish(const std::string& tool, int code, const ExitCodes& codes);

/// An option whose value is one of these words, whatever their case.
template <typename Value>
CLI::Option* addChoice(CLI::App& app, const std::string& name, Value& value,
                       const std::vector<std::pair<std::string, Value>>& choices,
                       const std::string& help) {
    std::vector<std::string> words;
    for (const auto& choice : choices) {
        words.push_back(choice.first);
    }
    // The check has put the word into the case that it has here.
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
