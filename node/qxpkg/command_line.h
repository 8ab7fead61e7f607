// The parsed command line of qxpkg.
#pragma once

#include <string>
#include <vector>

#include "node/qxpkg/container/operations.h"
#include "node/qxpkg/options.h"

namespace qxpkg {

/// The command.
enum class Verb { install, update, remove, fetch, clean, create, verify, pack, list };

/// The kind of object that a command works on.
enum class Object { container, nodeTemplates, nodePackages, caches, files };

/// The output form of a list.
enum class ListFormat { table, json };

struct CommandLine {
    Verb verb = Verb::list;
    Object object = Object::nodeTemplates;
    int veid = 0;                    ///< of Object::container
    Names kind = Names::templates;   ///< of Object::container and nodePackages
    bool applications = false;       ///< -F: names are an OS template and its applications
    std::vector<std::string> names;  ///< the remaining words: names or files
    ListFormat format = ListFormat::table;
    std::string nodeDirectory;  ///< empty: the node of this machine
    Options options;
};

/// The result of parsing.
enum class Parsed {
    command,   ///< `line` says what to do
    answered,  ///< help or version was printed
    wrong      ///< the reason was printed; the exit code is kUsage
};

Parsed parseCommandLine(int argc, const char* const* argv, CommandLine& line);

/// Runs a command. @return the exit code; after a failure, the reason is the last line on standard
/// error.
int runCommand(const CommandLine& line);

}  // namespace qxpkg
