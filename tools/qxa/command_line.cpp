// Declares commands and options. What they do is in commands.h.
#include "tools/qxa/command_line.h"

#include <CLI/CLI.hpp>

#include "QXL/QXLPackageManagerOptions.h"
#include "cli/command_line.h"

namespace qxa {

namespace {

/// The limit keeps the milliseconds within an int.
constexpr int kMaxSeconds = 1000000;

constexpr const char* kFooter = R"(Names:
  base, base/1     a standard template: all versions, one version
  .os, .os/app     a KR OS template, one of its application templates
  hello            a Linux package (only in containers made from a KR template)
  ./file.tar.gz    a template package file

Exit status: 0 done, 1 failed, 2 wrong usage, 3 access denied, 4 unknown target,
5 refused, 6 the lock stayed busy, 130 interrupted.)";

void addFlag(CLI::App* app, PackageOptions& options, const char* name, unsigned bit,
             const char* help) {
    app->add_flag_callback(
        name, [&options, bit] { options.flags |= bit; }, help);
}

void addTarget(CLI::App* app, TargetOptions& target) {
    app->add_option("--ct", target.containers,
                    "Containers: numbers or glob patterns, comma-separated")
        ->type_name("ID,...")
        ->allow_extra_args(false);
    app->add_option("--eid", target.eids, "Containers by EID, comma-separated")
        ->type_name("UUID,...")
        ->allow_extra_args(false);
    app->add_flag("--all-ct", target.allContainers, "All containers of this node");
    app->add_option("-j,--jobs", target.jobs, "Work on N targets at once")
        ->check(CLI::Range(1U, 256U));
}

void addTypes(CLI::App* app, PackageOptions& options) {
    app->add_option("--type", options.types, "Kinds: os, app, rpm, deb; comma-separated")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember({"os", "app", "rpm", "deb"}));
    app->add_option("--os", options.os, "The OS template that the named packages belong to")
        ->type_name(".OS");
}

CLI::App* addPackageCommand(CLI::App& app, CommandLine& line, Operation operation, const char* help,
                            const char* example) {
    auto* command = app.add_subcommand(operationName(operation), help);
    command->footer(std::string("Example: ") + example);
    command->callback([&line, operation] {
        line.command = [&line, operation] {
            return runPackageCommand(line.common, operation, line.package);
        };
        line.showsRecords = true;
    });
    return command;
}

void addNames(CLI::App* command, CommandLine& line, bool required, const char* help) {
    auto* option = command->add_option("NAME", line.package.names, help);
    if (required) {
        option->required();
    }
}

void addPackageCommands(CLI::App& app, CommandLine& line) {
    auto& options = line.package;

    auto* install =
        addPackageCommand(app, line, Operation::install, "Install templates and packages",
                          "qxa install ./base-1.tar.gz\n         qxa install --ct 101 "
                          "base/1 web/2");
    addNames(install, line, true, "On the node: package files; in a container: names");
    addTarget(install, options.target);
    addTypes(install, options);

    auto* remove = addPackageCommand(app, line, Operation::remove, "Remove templates and packages",
                                     "qxa remove --ct 101 web/2");
    addNames(remove, line, true, "What to remove");
    addTarget(remove, options.target);
    addTypes(remove, options);
    addFlag(remove, options, "-w,--with-dependent", QXL::kPkgOptionWithDependent,
            "Also remove packages that depend on them");

    auto* update = addPackageCommand(app, line, Operation::update,
                                     "Update templates and packages (default: all of them)",
                                     "qxa update --all-ct -j 2");
    addNames(update, line, false, "What to update");
    addTarget(update, options.target);
    addTypes(update, options);

    for (auto* command : {install, update}) {
        addFlag(command, options, "-C,--cache-only", QXL::kPkgOptionCacheOnly,
                "Use only what was fetched before");
    }
    for (auto* command : {install, remove, update}) {
        addFlag(command, options, "-n,--dry-run", QXL::kPkgOptionDryRun,
                "Report what would be done (KR only; standard templates are changed all the same)");
        addFlag(command, options, "-f,--force", QXL::kPkgOptionForce,
                "Go on if something is in conflict or already there");
    }

    auto* list = addPackageCommand(app, line, Operation::list, "List templates and packages",
                                   "qxa list --summary\n         qxa list --ct 101 --type app");
    addNames(list, line, false, "List only these");
    addTarget(list, options.target);
    addTypes(list, options);
    list->add_flag("--summary", options.summary, "Also show the summaries");
    list->add_flag("--compatible", options.compatible,
                   "In a container: what can be installed; on the node: what fits NAME");

    auto* info = addPackageCommand(app, line, Operation::info, "Describe templates and packages",
                                   "qxa info base/1");
    addNames(info, line, true, "What to describe");
    addTarget(info, options.target);
    addTypes(info, options);

    auto* fetch = addPackageCommand(app, line, Operation::fetch,
                                    "Download packages of KR templates into the node's cache",
                                    "qxa fetch .debian-12");
    auto* clean =
        addPackageCommand(app, line, Operation::clean, "Delete packages from the node's cache",
                          "qxa clean .debian-12");
    for (auto* command : {fetch, clean}) {
        addNames(command, line, false, "KR templates, or packages with --type (default: all)");
        addTypes(command, options);
    }
}

void addContainerCommands(CLI::App& app, CommandLine& line) {
    auto* group = app.add_subcommand("ct", "Create, list, show and destroy containers");
    group->require_subcommand(1);
    auto& options = line.container;
    const auto number = [&](CLI::App* command) {
        command->add_option("ID", options.veid, "The container's number")
            ->required()
            ->check(CLI::Range(1, 2147483647));
    };

    auto* create = group->add_subcommand("create", "Create a container");
    create->footer("Example: qxa ct create 101 --os base/1");
    number(create);
    create->add_option("--os", options.osTemplate, "The OS template: NAME, NAME/VERSION or .NAME");
    create->add_option("--eid", options.eid, "The container's EID (default: a new one)");
    create->add_option("--private", options.privateArea,
                       "The private area (default: /qx/private/ID)");
    create->add_option("--parent", options.parent, "The EID of its node (default: this node)");
    create->add_option("--technology", options.type,
                       "The virtualization technology (default: meridane)");
    create->callback([&line] {
        line.command = [&line] { return runContainerCreate(line.common, line.container); };
    });

    group->add_subcommand("list", "List containers")->callback([&line] {
        line.command = [&line] { return runContainerList(line.common); };
    });

    auto* show = group->add_subcommand("show", "Show one container");
    number(show);
    show->callback([&line] {
        line.command = [&line] { return runContainerShow(line.common, line.container.veid); };
    });

    auto* destroy = group->add_subcommand("destroy", "Remove a container and its private area");
    number(destroy);
    destroy->callback([&line] {
        line.command = [&line] { return runContainerDestroy(line.common, line.container.veid); };
    });
}

void addNodeCommands(CLI::App& app, CommandLine& line) {
    auto* templates = app.add_subcommand("template", "Make template packages");
    templates->require_subcommand(1);
    auto* pack =
        templates->add_subcommand("pack", "Make a standard template package from a folder");
    pack->footer(
        "The folder holds template.toml and root/; see docs/template-manifest.md.\n"
        "Example: qxa template pack ./base base-1.tar.gz");
    pack->add_option("DIR", line.folder, "The folder to pack")
        ->required()
        ->check(CLI::ExistingDirectory);
    pack->add_option("FILE", line.file, "The package file to write")->required();
    pack->callback([&line] {
        line.command = [&line] { return runTemplatePack(line.common, line.folder, line.file); };
        line.needsNode = false;
    });

    auto* node = app.add_subcommand("node", "Make node directories");
    node->require_subcommand(1);
    auto* init = node->add_subcommand("init", "Make a node directory: a whole node in one folder");
    init->footer("Example: qxa node init ./node && qxa --node-dir ./node ct list");
    init->add_option("DIR", line.folder, "The folder to make")->required();
    init->callback([&line] {
        line.command = [&line] { return runNodeInit(line.common, line.folder); };
        line.needsNode = false;
    });

    auto* events = app.add_subcommand("events", "Show changes of containers as they happen");
    events->add_option("--count", line.count, "Stop after N changes")->type_name("N");
    events
        ->add_option("--timeout", line.timeoutSeconds,
                     "Stop after so many seconds without a change")
        ->check(CLI::Range(0, kMaxSeconds))
        ->type_name("SECONDS");
    events->callback([&line] {
        line.command = [&line] { return runEvents(line.common, line.count, line.timeoutSeconds); };
    });

    auto* history = app.add_subcommand("history", "Show past requests");
    history->add_option("--limit", line.limit, "Show only the N newest requests (0: all)")
        ->type_name("N");
    history->callback(
        [&line] { line.command = [&line] { return runHistory(line.common, line.limit); }; });
}

void addCommonOptions(CLI::App& app, CommonOptions& common) {
    cli::addChoice<Format>(app, "--format", common.format,
                           {{"table", Format::table}, {"json", Format::json}, {"xml", Format::xml}},
                           "table, json; for packages also xml")
        ->type_name("FORMAT");
    app.add_flag("-q,--quiet", common.quiet, "Print only results and failures");
    app.add_flag("-v,--verbose", common.verbose, "Say what is being done");
    cli::addNodeDirectory(app, common.nodeDir);
    app.add_option("--plugin", common.pluginPath, "The plug-in library to load")
        ->envname("QXA_PLUGIN")
        ->type_name("FILE");
    app.add_option("--wait", common.waitSeconds, "Seconds to wait for a lock (default: no limit)")
        ->check(CLI::Range(0, kMaxSeconds))
        ->type_name("SECONDS");
}

}  // namespace

std::unique_ptr<CLI::App> makeParser(CommandLine& line) {
    auto app = std::make_unique<CLI::App>(
        "Manage packages and templates of this node and its containers", "qxa");
    app->footer(kFooter);
    app->require_subcommand(1);
    app->fallthrough();
    addCommonOptions(*app, line.common);
    addPackageCommands(*app, line);
    addContainerCommands(*app, line);
    addNodeCommands(*app, line);
    cli::addCommonParts(*app);
    // Common options may also come after the command's name.
    for (auto* command : app->get_subcommands({})) {
        command->fallthrough();
        for (auto* nested : command->get_subcommands({})) {
            nested->fallthrough();
        }
    }
    return app;
}

}  // namespace qxa
