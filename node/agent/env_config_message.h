// The content of a container's configuration in environment records.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace QXL {

class QXLEnvConfigMessage {
public:
    int veid = 0;
    std::optional<std::string> osTemplate;              ///< as configured, "name" or "name/version"
    std::optional<std::vector<std::string>> templates;  ///< as configured
};

}  // namespace QXL
