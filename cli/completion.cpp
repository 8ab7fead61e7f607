// Writes completion scripts from the option tree.
#include "cli/completion.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <set>
#include <vector>

namespace cli {

namespace {

/// The names of all commands, each between blanks.
std::string commandNames(const CLI::App& app) {
    std::string names = " ";
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names += command->get_name() + commandNames(*command);
    }
    return names;
}

/// A command's own options as they are typed; a letter only if the option has no long name.
std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> words;
    for (const auto* option : app.get_options()) {
        for (const auto& name : option->get_lnames()) {
            words.push_back("--" + name);
        }
        for (const auto& letter : option->get_snames()) {
            if (option->get_lnames().empty()) {
                words.push_back("-" + letter);
            }
        }
    }
    return words;
}

/// Words that may follow a command: its subcommands, its options and those of its parents.
std::string wordsOf(const CLI::App& app) {
    std::string words;
    std::set<std::string> seen;
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        words += command->get_name() + " ";
    }
    for (const auto* level = &app; level != nullptr; level = level->get_parent()) {
        for (const auto& word : optionsOf(*level)) {
            if (seen.insert(word).second) {
                words += word + " ";
            }
        }
    }
    if (!words.empty()) {
        words.pop_back();
    }
    return words;
}

/// One pattern for each command with its words, the deepest first so that it is matched first.
void printBranches(const CLI::App& app, const std::string& path) {
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        printBranches(*command, path + " " + command->get_name());
    }
    std::printf("        \"%s\"*) candidates=(%s) ;;\n", path.c_str(), wordsOf(app).c_str());
}

void printBash(const CLI::App& app) {
    const auto& name = app.get_name();
    std::printf("# bash completion for %s\n_%s() {\n", name.c_str(), name.c_str());
    std::printf("    local current=${COMP_WORDS[COMP_CWORD]} line=%s word candidates=()\n",
                name.c_str());
    std::printf(
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
        "        [[ '%s' == *\" $word \"* ]] && line+=\" $word\"\n"
        "    done\n    case \"$line\" in\n",
        commandNames(app).c_str());
    printBranches(app, name);
    std::printf(
        "    esac\n"
        "    mapfile -t COMPREPLY < <(compgen -W \"${candidates[*]}\" -f -- \"$current\")\n}\n"
        "complete -o filenames -F _%s %s\n",
        name.c_str(), name.c_str());
}

/// Works both as a file on zsh's function path (read at the first completion) and when sourced.
void printZsh(const CLI::App& app) {
    const auto& name = app.get_name();
    std::printf("#compdef %s\n_%s() {\n", name.c_str(), name.c_str());
    std::printf("    local line=%s word\n    local -a candidates\n", name.c_str());
    std::printf(
        "    for word in \"${(@)words[2,CURRENT-1]}\"; do\n"
        "        [[ '%s' == *\" $word \"* ]] && line+=\" $word\"\n"
        "    done\n    case \"$line\" in\n",
        commandNames(app).c_str());
    printBranches(app, name);
    std::printf(
        "    esac\n    compadd -- $candidates\n    _files\n}\n"
        "if [[ $funcstack[1] == _%s ]]; then _%s \"$@\"; else compdef _%s %s; fi\n",
        name.c_str(), name.c_str(), name.c_str(), name.c_str());
}

/// A text between single quotes of fish.
std::string fishQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\') {
            quoted += '\\';
        }
        quoted += letter;
    }
    return quoted + "'";
}

void printFish(const CLI::App& app, const CLI::App& root, const std::string& seen) {
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        const auto condition = seen.empty() ? std::string("__fish_use_subcommand")
                                            : "__fish_seen_subcommand_from " + seen;
        std::printf("complete -c %s -n '%s' -a %s -d %s\n", root.get_name().c_str(),
                    condition.c_str(), command->get_name().c_str(),
                    fishQuoted(command->get_description()).c_str());
        printFish(*command, root, command->get_name());
    }
    const auto condition =
        seen.empty() ? std::string() : "-n '__fish_seen_subcommand_from " + seen + "' ";
    for (const auto* option : app.get_options()) {
        std::string names;
        for (const auto& letter : option->get_snames()) {
            names += "-s " + letter + " ";
        }
        for (const auto& name : option->get_lnames()) {
            names += "-l " + name + " ";
        }
        if (!names.empty()) {
            std::printf("complete -c %s %s%s-d %s\n", root.get_name().c_str(), condition.c_str(),
                        names.c_str(), fishQuoted(option->get_description()).c_str());
        }
    }
}

}  // namespace

void printCompletion(const CLI::App& app, const std::string& shell) {
    if (shell == "fish") {
        printFish(app, app, "");
    } else if (shell == "zsh") {
        printZsh(app);
    } else {
        printBash(app);
    }
}

}  // namespace cli
