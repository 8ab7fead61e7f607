// The environment cache: reads the configurations of a node's containers.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "QXL/QXLEnv.h"
#include "layout/container_config.h"

namespace QXL {

/// The record of a container. @throws std::runtime_error "FILE:LINE: reason" if the configuration
/// does not describe a valid environment.
std::shared_ptr<const QXLEnv> envOfConfig(const qxnode::ContainerConfig& config, int veid,
                                          const std::string& path);

/// Every container whose configuration can be read, sorted by number. If two have the same EID, the
/// one with the smaller number counts. Null if the folder cannot be read.
/// @param report  called with a line for each file that is left out.
std::shared_ptr<QXLEnvList> readEnvironments(
    const std::string& folder, const std::function<void(const std::string& line)>& report);

}  // namespace QXL
