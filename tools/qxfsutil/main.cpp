// qxfsutil: directory indexes and whole container areas, from a shell.
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>

#include "cli/command_line.h"
#include "layout/node_dir.h"
#include "src/qxfsutil.h"
#include "tools/qxfsutil/cancel.h"
#include "tools/qxfsutil/commands.h"
#include "tools/qxfsutil/exit_code.h"

namespace {

using qxfsutil::Options;

constexpr cli::ExitCodes kExitCodes{qxfsutil::kExitOperational, qxfsutil::kExitUsage};

constexpr const char* kFooter =
    R"(An AREA is a container's private area (a directory that holds "root" and
"lost_files") or any other directory tree.

Exit status: 0 no errors, 1 all errors repaired, 4 errors remain,
8 the command could not do its work, 16 wrong usage, 32 cancelled; the sum of
these for several areas.)";

/// The option tree, its values, and the command.
struct CommandLine {
    CLI::App app{"Directory indexes, shortcuts and magic links of container areas", "qxfsutil"};
    Options options;
    std::function<int()> command;
};

CLI::App* addCommand(CommandLine& line, const char* name, const char* help, const char* example,
                     int (*run)(const Options&)) {
    auto* command = line.app.add_subcommand(name, help);
    command->fallthrough();
    if (example[0] != '\0') {
        command->footer(std::string("Example: ") + example);
    }
    command->callback([&line, command, run] {
        const bool takesAreas = command->get_option_no_throw("--ct") != nullptr;
        if (takesAreas && line.options.names.empty() && line.options.containers.empty() &&
            !line.options.allContainers) {
            throw CLI::RequiredError("AREA, --ct or --all-ct");
        }
        line.command = [&line, run] { return run(line.options); };
    });
    return command;
}

void addAreas(CLI::App* command, Options& options, const char* help) {
    command->add_option("AREA", options.names, help);
    command->add_option("--ct", options.containers, "The areas of these containers (numbers)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Range(1, 2147483647));
    command->add_flag("--all-ct", options.allContainers, "The areas of all containers");
    command->add_option("-j,--jobs", options.jobs, "Work on N areas at once")
        ->check(CLI::Range(1U, 256U));
}

void addArea(CLI::App* command, Options& options) {
    command->add_option("AREA", options.area, "The area")->required();
}

CLI::Option* addMode(CLI::App* command, Options& options, const char* flag, qxfs::RepairMode mode,
                     const char* help) {
    return command->add_flag_callback(
        flag,
        [&options, mode] {
            options.mode = mode;
            options.modeGiven = true;
        },
        help);
}

void addIndex(CommandLine& line) {
    auto& options = line.options;
    auto* index = addCommand(line, "index", "Write the index of every directory that can have one",
                             "qxfsutil index --ct 101", qxfsutil::runIndex);
    addAreas(index, options, "Areas to index");
    index->add_flag("--convert-symlinks", options.convertSymlinks,
                    "Replace magic symlinks by shortcuts first");
    index->add_flag("--dry-run", options.dryRun, "Report what would be done; change nothing");
}

void addCheck(CommandLine& line) {
    auto& options = line.options;
    auto* check = addCommand(line, "check", "Check areas or single index files; repair areas",
                             "qxfsutil check -p /qx/private/101", qxfsutil::runCheck);
    addAreas(check, options, "Areas or index files");
    using qxfs::RepairMode;
    auto* report = addMode(check, options, "-n", qxfs::RepairMode::report,
                           "Only report errors (default without a terminal and with --json)");
    auto* preen = addMode(check, options, "-p", qxfs::RepairMode::preen,
                          "Make only the repairs that cannot lose data");
    auto* yes = addMode(check, options, "-y", qxfs::RepairMode::yes, "Make every repair");
    report->excludes(preen)->excludes(yes);
    preen->excludes(yes);
    check->add_option("--root", options.linkRoot, "For index files: look links up below DIR")
        ->type_name("DIR");
    auto* undoFile = check->add_option("--undo", options.undoFile,
                                       "Write the undo record to FILE (default: in the private "
                                       "area, or beside a tree that is not a private area)");
    undoFile->type_name("FILE");
    check->add_flag("--attributes", options.setAttributes,
                    "Also set attributes that differ from those of the template");
    check->add_flag("--drop-missing-templates", options.dropMissing,
                    "Also drop what belongs to templates that do not exist at all");
    check->add_flag("-C,--completion", options.completion,
                    "Show on standard error how much is done, in percent");
    check->add_flag("--no-undo", options.noUndo, "Write no undo record")->excludes(undoFile);
}

/// Other commands that change areas.
void addChanges(CommandLine& line) {
    auto& options = line.options;
    auto* undo = addCommand(line, "undo", "Undo the repairs that one check made",
                            "qxfsutil undo /qx/private/101/undo-20261120T200000-7.qxundo",
                            qxfsutil::runUndo);
    undo->add_option("FILE", options.undoFile, "The undo record")->required();

    auto* restore = addCommand(line, "restore", "Move items back from lost_files",
                               "qxfsutil restore /qx/private/101 /etc/motd", qxfsutil::runRestore);
    addArea(restore, options);
    restore->add_option("PATH", options.names, "Paths inside the container")->required();

    auto* clone = addCommand(line, "clone", "Change the template cache identifier in all links", "",
                             qxfsutil::runClone);
    addArea(clone, options);
    clone->add_option("OLD", options.oldId, "The identifier that the links have now")->required();
    clone->add_option("NEW", options.newId, "The new identifier, of the same length")->required();
}

/// Commands that only show areas.
void addViews(CommandLine& line) {
    auto& options = line.options;
    auto* list = addCommand(line, "ls", "List directories as the container sees them",
                            "qxfsutil ls /qx/private/101 /etc", qxfsutil::runList);
    addArea(list, options);
    list->add_option("PATH", options.names, "Paths inside the container");

    auto* cat = addCommand(line, "cat", "Print files as the container sees them",
                           "qxfsutil cat /qx/private/101 /etc/hostname", qxfsutil::runCat);
    addArea(cat, options);
    cat->add_option("PATH", options.names, "Paths inside the container")->required();

    auto* used = addCommand(line, "used", "List the template files that areas use",
                            "qxfsutil used /qx/private/*",
                            [](const Options& given) { return qxfsutil::runUsed(given, false); });
    addAreas(used, options, "The areas");
    auto* missing =
        addCommand(line, "missing", "List the template files that areas use and that do not exist",
                   "qxfsutil missing /qx/private/*",
                   [](const Options& given) { return qxfsutil::runUsed(given, true); });
    addAreas(missing, options, "The areas");
}

void addIndexCommands(CommandLine& line) {
    auto& options = line.options;
    auto* dump = addCommand(line, "dump", "Print an index as text", "qxfsutil dump ._qxlnk_.",
                            qxfsutil::runDump);
    dump->add_option("INDEX", options.names, "Index files")->required();

    auto* build = addCommand(line, "build", "Make an index from the text that dump prints",
                             "qxfsutil build -o ._qxlnk_. index.txt", qxfsutil::runBuild);
    build->add_option("TEXT", options.names, "The text file; - is standard input")
        ->required()
        ->expected(1);
    build->add_option("-o,--output", options.output, "Write to FILE (default: standard output)")
        ->type_name("FILE");

    auto* stat = addCommand(line, "stat", "Show statistics of an index", "qxfsutil stat ._qxlnk_.",
                            qxfsutil::runStat);
    stat->add_option("INDEX", options.names, "Index files")->required();

    addCommand(line, "findings", "List every kind of error that a check can find", "",
               qxfsutil::runFindings);
}

void build(CommandLine& line) {
    line.app.require_subcommand(1);
    line.app.footer(kFooter);
    auto& options = line.options;
    line.app.add_flag("--json", options.json, "Print one JSON object per line");
    line.app.add_flag("-q,--quiet", options.quiet, "Print findings and failures only");
    line.app.add_flag("-v,--verbose", options.verbose, "Show the library's messages");
    line.app
        .add_option("--template-root", options.templateRoot,
                    "The template area (default: /qx/template)")
        ->type_name("DIR");
    cli::addNodeDirectory(line.app, options.nodeDirectory);
    line.app
        .add_option("--wait", options.waitSeconds,
                    "Seconds to wait for a container's lock (default: QX_LOCK_WAIT, or no limit)")
        ->check(CLI::Range(0.0, 1e9))
        ->type_name("SECONDS");
    addIndex(line);
    addCheck(line);
    addChanges(line);
    addViews(line);
    addIndexCommands(line);
    cli::addCommonParts(line.app);
}

bool canAsk() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line;
    build(line);
    if (const auto ended = cli::parse(line.app, argc, argv, kExitCodes)) {
        return *ended;
    }
    if (line.options.verbose) {
        constexpr int kEverything = 4;
        set_log(kEverything, nullptr, nullptr);
    }
    std::string error;
    if (!line.options.nodeDirectory.empty() &&
        qxnode::enterNodeDirectory(line.options.nodeDirectory, error) != 0) {
        return qxfsutil::reportFailure(line.options, "node directory", error);
    }
    qxfsutil::catchSignals();
    if (!line.options.modeGiven && canAsk() && !line.options.json) {
        line.options.mode = qxfs::RepairMode::ask;
    }
    try {
        return cli::finish(line.app.get_name(), line.command(), kExitCodes);
    } catch (const std::exception& error) {
        return qxfsutil::reportFailure(line.options, "internal", error.what());
    }
}
