// Outcome: the result of one request on one target, ready to be shown.
#pragma once

#include <string>
#include <vector>

#include "tools/qxa/exit_code.h"
#include "tools/qxa/package_view.h"

namespace qxa {

struct Outcome {
    std::string operation;  ///< "install", "list", ...
    std::string target;     ///< "node", or the container's number
    int code = 0;           ///< result code of the package-manager interface
    std::string message;    ///< why the request failed; empty on success
    ExitCode exitCode = kExitDone;
    std::vector<PackageView> packages;  ///< result records
    std::string xml;                    ///< the records as a message, if XML was requested
};

/// The text that sends an outcome from the process that did the request to the one that shows it.
std::string serialize(const Outcome& outcome);

/// @return false if the text is not a whole outcome, because its process died.
bool deserialize(const std::string& text, Outcome& outcome);

}  // namespace qxa
