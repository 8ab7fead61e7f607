// Declares the words and options of qxpkg; see command_line.h. The word after a command
// ("template", "cache", a container's number) decides what the following names are. Only this word
// has a meaning: a package may have the name "template".
#include "node/qxpkg/command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

bool takesValue(const CLI::App& app, const std::string& option) {
    const CLI::Option* known = app.get_option_no_throw(option);
    return known != nullptr && known->get_items_expected_min() > 0;
}

bool changesContainers(const std::string& command) {
    return command == "install" || command == "update" || command == "remove";
}

bool isNumber(const std::string& word) {
    return word.find_first_not_of("0123456789") == std::string::npos && !word.empty();
}

std::vector<std::string> takeContainerNames(const CLI::App& app, std::vector<std::string>& words) {
    bool commandSeen = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (isOption(*word)) {
            // The value is the next word unless it is joined with "=".
            word += takesValue(app, *word) && word + 1 != words.end() ? 1 : 0;
        } else if (commandSeen) {
            if (!isNumber(*word)) {
                return {};
            }
            std::vector<std::string> names(word + 1, words.end());
            words.erase(word + 1, words.end());
            return names;
        } else if (changesContainers(*word)) {
            commandSeen = true;
        } else {
            return {};
        }
    }
    return {};
}

constexpr const char* kTemplateWord = "template";
constexpr const char* kCacheWord = "cache";
constexpr const char* kAreaWord = "area";

constexpr const char* kFooter = R"(Examples:
  qxpkg install template ./debian-12.tar.gz ./debian-12-web.tar.gz
  qxpkg create cache .debian-12
  qxpkg install 101 .web            application templates into container 101
  qxpkg install -p 101 hello        packages into container 101
  qxpkg update 101                  everything that container 101 has
  qxpkg remove template -F .debian-12 .web

Templates are named ".os" and ".app"; the dot may be left out.

Exit status: 0 done, 1 failed, 2 wrong usage, 27 refused (already there, in conflict
or in use), 33 a file is not a KR template package, 75 the lock stayed busy,
130 interrupted. The last line on standard error gives the reason.)";

/// The values that CLI11 fills in, before the words are interpreted.
struct Raw {
    CommandLine& line;
    std::vector<std::string> words;
    bool packages = false;
    double waitSeconds = -1;
};

int containerId(const std::string& word) {
    int veid = 0;
    const char* const end = word.data() + word.size();
    const auto [stopped, failure] = std::from_chars(word.data(), end, veid);
    if (!isNumber(word) || failure != std::errc() || stopped != end || veid == 0) {
        throw Failure("'" + word + "' is not a container's number");
    }
    return veid;
}

/// Removes the first word if it is `expected`. @return whether it was.
bool takeWord(std::vector<std::string>& words, const char* expected) {
    if (words.empty() || words.front() != expected) {
        return false;
    }
    words.erase(words.begin());
    return true;
}

void requireNames(const CommandLine& line, std::size_t atLeast, const char* what) {
    if (line.names.size() < atLeast) {
        throw Failure(std::string(what) + " expected");
    }
}

void refuseOption(bool given, const char* option, const char* where) {
    if (given) {
        throw Failure(std::string(option) + " has no meaning " + where);
    }
}

void readNodeTemplates(Raw& raw) {
    CommandLine& line = raw.line;
    line.object = Object::nodeTemplates;
    refuseOption(raw.packages, "-p", "for templates of the node");
    line.names = std::move(raw.words);
    if (line.verb != Verb::remove) {
        requireNames(line, 1, "a template package's file");
    } else if (line.applications) {
        requireNames(line, 2, "-F: the names of an OS template and of an application template");
    } else {
        requireNames(line, 1, "an OS template's name");
    }
}

void readCaches(Raw& raw) {
    CommandLine& line = raw.line;
    line.object = Object::caches;
    refuseOption(raw.packages, "-p", "for caches");
    line.names = std::move(raw.words);
    if (line.verb == Verb::create) {
        requireNames(line, 1, "an OS template's name");
    }
}

void readContainer(Raw& raw) {
    CommandLine& line = raw.line;
    line.object = Object::container;
    if (raw.words.empty()) {
        throw Failure("a container's number expected");
    }
    line.veid = containerId(raw.words.front());
    raw.words.erase(raw.words.begin());
    line.kind = raw.packages ? Names::packages : Names::templates;
    line.names = std::move(raw.words);
    if (line.names.empty()) {
        // Without names an update of templates and one of packages are the same: everything.
        line.kind = line.verb == Verb::update ? Names::packages : line.kind;
        if (line.verb == Verb::install && !raw.packages) {
            throw Failure("a template's name expected");
        }
    }
}

/// install, update and remove.
void readChange(Raw& raw) {
    const bool updates = raw.line.verb == Verb::update;
    if (takeWord(raw.words, kTemplateWord)) {
        readNodeTemplates(raw);
        return;
    }
    refuseOption(raw.line.applications, "-F", "in a container");
    updates&& takeWord(raw.words, kCacheWord) ? readCaches(raw) : readContainer(raw);
}

void readVerify(Raw& raw) {
    if (!takeWord(raw.words, kAreaWord) || raw.words.size() != 1) {
        throw Failure("'area' and a container's number expected");
    }
    raw.line.object = Object::container;
    raw.line.veid = containerId(raw.words.front());
}

void readWords(Raw& raw) {
    CommandLine& line = raw.line;
    switch (line.verb) {
        case Verb::install:
        case Verb::update:
        case Verb::remove:
            readChange(raw);
            break;
        case Verb::fetch:
        case Verb::clean:
            line.object = Object::nodePackages;
            line.kind = raw.packages ? Names::packages : Names::templates;
            line.names = std::move(raw.words);
            break;
        case Verb::create:
            if (!takeWord(raw.words, kCacheWord)) {
                throw Failure("'cache' expected");
            }
            readCaches(raw);
            break;
        case Verb::verify:
            readVerify(raw);
            break;
        case Verb::pack:
            line.object = Object::files;
            line.names = std::move(raw.words);
            requireNames(line, 2, "a folder and the package to write");
            break;
        case Verb::list:
            line.names = std::move(raw.words);
            break;
    }
    if (raw.waitSeconds >= 0) {
        line.options.wait = qxnode::LockWait::atMost(
            std::chrono::milliseconds(std::llround(raw.waitSeconds * 1000)));
    }
}

CLI::App* addCommand(CLI::App& app, Raw& raw, Verb verb, const char* name, const char* help,
                     const char* wordsName, const char* wordsHelp) {
    auto* command = app.add_subcommand(name, help);
    command->fallthrough();
    command->add_option("WORDS", raw.words, wordsHelp)->option_text(wordsName);
    command->callback([&raw, verb] { raw.line.verb = verb; });
    return command;
}

void addChangeCommands(CLI::App& app, Raw& raw) {
    constexpr const char* kWords = "ID NAME... | template FILE...";
    constexpr const char* kHelp =
        "A container's number and templates (with -p: packages), or template package files";
    Options& options = raw.line.options;
    auto* install = addCommand(app, raw, Verb::install, "install", "Install templates or packages",
                               kWords, kHelp);
    auto* update =
        addCommand(app, raw, Verb::update, "update",
                   "Update templates, packages or caches (default: all of them)",
                   "ID [NAME...] | template FILE... | cache [OS...]",
                   "A container's number and templates (with -p: packages), or template package "
                   "files, or OS templates whose caches to rebuild");
    auto* remove = addCommand(app, raw, Verb::remove, "remove", "Remove templates or packages",
                              "ID NAME... | template OS... | template -F OS APP...",
                              "A container's number and what to remove, or templates of the node");
    for (auto* command : {install, update, remove}) {
        command->add_flag("-p", raw.packages, "The names are packages, not templates");
        command->add_flag("-C", options.cacheOnly, "Use only what was fetched before");
        command->add_flag("-n", options.dryRun, "Report what would be done; change nothing");
        command->add_flag("-w", options.withDependents, "Also remove packages that depend on them");
        command->add_flag("-f", options.force,
                          "Go on if something is already there, in conflict or in use");
    }
    remove->add_flag("-F", raw.line.applications,
                     "The names are an OS template and its applications");
}

void addOtherCommands(CLI::App& app, Raw& raw) {
    auto* fetch = addCommand(app, raw, Verb::fetch, "fetch",
                             "Download packages into the node's package cache", "[NAME...]",
                             "Templates, with -p packages (default: all templates)");
    auto* clean =
        addCommand(app, raw, Verb::clean, "clean", "Delete packages from the node's package cache",
                   "[NAME...]", "Templates, with -p packages (default: everything)");
    for (auto* command : {fetch, clean}) {
        command->add_flag("-p", raw.packages, "The names are packages, not templates");
    }
    auto* create = addCommand(app, raw, Verb::create, "create", "Build caches of OS templates",
                              "cache OS...", "OS templates");
    create->add_flag("-f", raw.line.options.force, "Rebuild caches that exist");
    addCommand(app, raw, Verb::verify, "verify", "Check a container's area", "area ID",
               "The container's number");
    addCommand(app, raw, Verb::pack, "pack", "Make a template package from a folder", "DIR FILE",
               "The folder (it holds template.toml) and the package file to write")
        ->footer(
            "The file name's ending selects the compression: .tar, .tar.gz, .tar.xz, .tar.zst.\n"
            "Example: qxpkg pack ./debian-12 debian-12.tar.gz");
    auto* list = addCommand(app, raw, Verb::list, "list", "List the node's KR templates", "[OS...]",
                            "Only these OS templates and their applications");
    cli::addChoice<ListFormat>(*list, "--format", raw.line.format,
                               {{"table", ListFormat::table}, {"json", ListFormat::json}},
                               "table or json")
        ->type_name("FORMAT");
}

void addCommonOptions(CLI::App& app, Raw& raw) {
    app.add_flag("-q,--quiet", raw.line.options.quiet, "Print only results");
    app.add_option("--wait", raw.waitSeconds, "Seconds to wait for a lock (default: no limit)")
        ->check(CLI::Range(0.0, 1e9))
        ->type_name("SECONDS");
    cli::addNodeDirectory(app, raw.line.nodeDirectory);
}

Parsed wrong(const std::string& reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    return Parsed::wrong;
}

}  // namespace

Parsed parseCommandLine(int argc, const char* const* argv, CommandLine& line) {
    CLI::App app("Manage this node's KR templates and the packages of its containers", "qxpkg");
    Raw raw{line, {}, false, -1};
    app.footer(kFooter);
    app.require_subcommand(1);
    app.fallthrough();
    addCommonOptions(app, raw);
    addChangeCommands(app, raw);
    addOtherCommands(app, raw);
    cli::addCommonParts(app);
    try {
        std::vector<std::string> words(argv + 1, argv + argc);
        const std::vector<std::string> names = takeContainerNames(app, words);
        std::reverse(words.begin(), words.end());  // which is how the parser takes them
        app.parse(std::move(words));
        raw.words.insert(raw.words.end(), names.begin(), names.end());
        readWords(raw);
    } catch (const CLI::Success& answer) {
        app.exit(answer);
        return Parsed::answered;
    } catch (const CLI::ParseError& error) {
        return wrong(cli::usageReason(app, error));
    } catch (const Failure& error) {
        return wrong(cli::usageReason(app, error.what()));
    }
    return Parsed::command;
}

}  // namespace qxpkg
