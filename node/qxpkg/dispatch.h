// From a command line to what it asks for.
#pragma once

#include "node/qxpkg/command_line.h"

namespace qxpkg {

/// Carries out a command. @return the exit code; the reason of a failure was then the last line on
/// standard error.
int runCommand(const CommandLine& line);

}  // namespace qxpkg
