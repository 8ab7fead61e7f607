// See command_line.h.
#include "cli/command_line.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/completion.h"

namespace cli {

namespace {

/// The innermost command that the line named.
const CLI::App& namedCommand(const CLI::App& app) {
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    return *command;
}

std::string pathOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : pathOf(*parent) + " ") + command.get_name();
}

/// For a misspelt command the library only says that a command is missing.
std::string reasonOf(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = namedCommand(app);
    const bool lacksCommand = command.get_require_subcommand_min() > 0;
    for (const std::string& word : app.remaining(true)) {
        if (word.starts_with('-')) {
            return "there is no option '" + word + "'";
        }
        return lacksCommand ? "there is no command '" + word + "'"
                            : "'" + word + "' is one word too many";
    }
    return lacksCommand ? "a command is expected" : error.what();
}

}  // namespace

void addCommonParts(CLI::App& app) {
    app.set_version_flag("--version", app.get_name() + " " + QX_VERSION, "Print the version");
    const auto shell = std::make_shared<std::string>();
    auto* completion = app.add_subcommand("completion", "Print a completion script for a shell");
    completion->add_option("SHELL", *shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));
    completion->callback([&app, shell] {
        printCompletion(app, *shell);
        throw CLI::Success();
    });
}

CLI::Option* addNodeDirectory(CLI::App& app, std::string& directory) {
    return app
        .add_option("--node-dir", directory, "Work in this node directory, not on the machine")
        ->envname("QXA_NODE_DIR")
        ->type_name("DIR");
}

std::string usageReason(const CLI::App& app, const std::string& reason) {
    return reason + "; see " + pathOf(namedCommand(app)) + " --help";
}

std::string usageReason(const CLI::App& app, const CLI::ParseError& error) {
    return usageReason(app, reasonOf(app, error));
}

std::optional<int> parse(CLI::App& app, int argc, const char* const* argv, const ExitCodes& codes) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& answered) {
        return finish(app.get_name(), app.exit(answered), codes);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), usageReason(app, error).c_str());
        return codes.usage;
    }
    return std::nullopt;
}

int finish(const std::string& tool, int code, const ExitCodes& codes) {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return code;
    }
    // If an earlier write failed, its reason is no longer known.
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    std::fprintf(stderr, "%s: cannot write to standard output%s\n", tool.c_str(), reason.c_str());
    return code == 0 ? codes.failed : code;
}

}  // namespace cli
