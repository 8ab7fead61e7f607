// Writes completion scripts from the option tree.
#include "tools/cli/completion.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace cli {

namespace {

/// Words that may follow a command: its subcommands, its options and those of its parents.
std::string wordsOf(const CLI::App& app) {
    std::string words;
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        words += command->get_name() + " ";
    }
    for (const auto* level = &app; level != nullptr; level = level->get_parent()) {
        for (const auto* option : level->get_options()) {
            for (const auto& name : option->get_lnames()) {
                words += "--" + name + " ";
            }
        }
    }
    if (!words.empty()) {
        words.pop_back();
    }
    return words;
}

/// One "path) words" branch for every command, the deepest first so that it is matched first.
void bashBranches(const CLI::App& app, const std::string& path) {
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        bashBranches(*command, path + " " + command->get_name());
    }
    std::printf("        \"%s\"*) words=\"%s\" ;;\n", path.c_str(), wordsOf(app).c_str());
}

void printBash(const CLI::App& app) {
    const auto& name = app.get_name();
    std::printf("# bash completion for %s\n_%s() {\n", name.c_str(), name.c_str());
    std::printf("    local current=${COMP_WORDS[COMP_CWORD]} line=%s word words\n", name.c_str());
    std::printf(
        "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
        "        [[ $word == -* ]] || line+=\" $word\"\n"
        "    done\n    case \"$line\" in\n");
    bashBranches(app, name);
    std::printf(
        "    esac\n"
        "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -f -- \"$current\")\n}\n"
        "complete -o filenames -F _%s %s\n",
        name.c_str(), name.c_str());
}

void printFish(const CLI::App& app, const CLI::App& root, const std::string& seen) {
    for (const auto* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        const auto condition = seen.empty() ? std::string("__fish_use_subcommand")
                                            : "__fish_seen_subcommand_from " + seen;
        std::printf("complete -c %s -n '%s' -a %s -d '%s'\n", root.get_name().c_str(),
                    condition.c_str(), command->get_name().c_str(),
                    command->get_description().c_str());
        printFish(*command, root, command->get_name());
    }
    for (const auto* option : app.get_options()) {
        for (const auto& name : option->get_lnames()) {
            const auto condition =
                seen.empty() ? std::string() : "-n '__fish_seen_subcommand_from " + seen + "' ";
            std::printf("complete -c %s %s-l %s -d '%s'\n", root.get_name().c_str(),
                        condition.c_str(), name.c_str(), option->get_description().c_str());
        }
    }
}

}  // namespace

int printCompletion(const CLI::App& app, const std::string& shell) {
    if (shell == "fish") {
        printFish(app, app, "");
    } else {
        if (shell == "zsh") {
            std::printf("#compdef %s\nautoload -U +X bashcompinit && bashcompinit\n",
                        app.get_name().c_str());
        }
        printBash(app);
    }
    return 0;
}

}  // namespace cli
