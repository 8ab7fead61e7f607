// Finds out why a run of apt or dpkg failed, from its output.
#pragma once

#include <string>

#include "node/qxpkg/engine/report_text.h"

namespace qxpkg {

/// Fed with the lines of both outputs in the order they come.
class DebReport {
public:
    void line(const std::string& text);

    /// One line: the packages that failed and the reasons, else the engine's error, else "".
    [[nodiscard]] std::string reason() const;

private:
    std::string m_failing;   ///< the package whose failure the next line explains
    ReasonParts m_packages;  ///< "package 'x': why"
    ReasonParts m_unmet;
    std::string m_error;
};

}  // namespace qxpkg
