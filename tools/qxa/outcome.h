// Outcome: what one request on one target came to, ready to be shown.
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
    std::string message;    ///< why the request failed; empty when it did not
    ExitCode exitCode = kExitDone;
    std::vector<PackageView> packages;  ///< result records
    std::string xml;                    ///< the records as a message, when XML was asked for
};

/// An outcome on its way from the process that did the request to the one that shows it.
std::string serialize(const Outcome& outcome);

/// @return false when the text is no outcome: the process that should have sent it died.
bool deserialize(const std::string& text, Outcome& outcome);

}  // namespace qxa
