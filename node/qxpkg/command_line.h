// The command line of qxpkg, taken apart but not yet carried out.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/container/operations.h"
#include "node/qxpkg/options.h"

namespace qxpkg {

/// What the first word of a command line asks for.
enum class Verb { install, update, remove, fetch, clean, create, verify, pack, list };

/// What it is done to.
enum class Object { container, nodeTemplates, nodePackages, caches, files };

/// How a listing is printed.
enum class ListFormat { table, json };

struct CommandLine {
    Verb verb = Verb::list;
    Object object = Object::nodeTemplates;
    int veid = 0;                    ///< of Object::container
    Names kind = Names::templates;   ///< of Object::container and nodePackages
    bool applications = false;       ///< -F: names are an OS template and applications of it
    std::vector<std::string> names;  ///< what remains: names or files, as they were given
    ListFormat format = ListFormat::table;
    std::string nodeDirectory;  ///< empty: the node of this machine
    Options options;
};

/// What became of reading the command line.
enum class Parsed {
    command,   ///< `line` says what to do
    answered,  ///< help or version was printed
    wrong      ///< the reason was printed; the exit code is kUsage
};

Parsed parseCommandLine(int argc, const char* const* argv, CommandLine& line);

/// Carries out a command. @return the exit code; the reason of a failure was then the last line on
/// standard error.
int runCommand(const CommandLine& line);

}  // namespace qxpkg
