// The agent's settings: /etc/qxagent/agent.toml.
//
//   eid = "b5b35e5c-..."     the node's own EID
//   [log]
//   level = "info"           "error", "warning", "info" or "debug"; default "warning"
//   file = "/var/log/x.log"  default /var/lib/qxagent/agent.log
#pragma once

#include <optional>
#include <string>

#include "QXL/QXLEID.h"
#include "QXL/QXLLog.h"
#include "layout/paths.h"

namespace QXL {

struct AgentSettings {
    std::optional<QXLEID> eid;
    int logLevel = kLogWarning;
    std::string logFile = qxnode::kAgentLog;

    /// Why settings could not be read: these have their defaults. Empty if all could be read.
    std::string fault;
};

/// Reads the settings. If there is no file, all have their defaults and `fault` is empty.
AgentSettings readAgentSettings(const std::string& path = qxnode::kAgentConfig);

}  // namespace QXL
