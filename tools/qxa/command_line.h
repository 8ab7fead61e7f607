// The command line of qxa: its option tree.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/qxa/commands.h"

namespace CLI {
class App;
}

namespace qxa {

/// All values of a command line, and the command to run.
struct CommandLine {
    CommonOptions common;
    PackageOptions package;
    ContainerOptions container;
    std::string folder;       ///< of `template pack` and `node init`
    std::string file;         ///< of `template pack`
    unsigned count = 0;       ///< of `events`
    int timeoutSeconds = -1;  ///< of `events`
    std::size_t limit = 20;   ///< of `history`

    /// Set by the parser.
    std::function<int()> command;

    /// True for commands that can print XML.
    bool showsRecords = false;

    /// False for commands that do not use the node and so do not enter a node directory.
    bool needsNode = true;
};

/// Builds the option tree; parsing fills `line`, which must outlive it.
std::unique_ptr<CLI::App> makeParser(CommandLine& line);

}  // namespace qxa
