// The command line of qxa: its option tree, as CLI11 holds it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/qxa/commands.h"

namespace CLI {
class App;
}

namespace qxa {

/// Everything that a command line says, and the command to run for it.
struct CommandLine {
    CommonOptions common;
    PackageOptions package;
    ContainerOptions container;
    std::string folder;       ///< of `template pack` and `node init`
    std::string file;         ///< of `template pack`
    unsigned count = 0;       ///< of `events`
    int timeoutSeconds = -1;  ///< of `events`
    std::size_t limit = 20;   ///< of `history`

    /// Set while the line is parsed.
    std::function<int()> command;

    /// True for commands whose records have a form in XML.
    bool showsRecords = false;

    /// False for commands that do nothing on a node and so need not enter a node directory.
    bool needsNode = true;
};

/// Builds the option tree; parsing fills `line`, which must outlive it.
std::unique_ptr<CLI::App> makeParser(CommandLine& line);

}  // namespace qxa
