// The environment cache: reading the configurations of a node's containers.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "QXL/QXLEnv.h"
#include "layout/container_config.h"

namespace QXL {

/// The record of a container. @throws std::runtime_error "FILE:LINE: reason" when the configuration
/// names no usable environment.
std::shared_ptr<const QXLEnv> envOfConfig(const qxnode::ContainerConfig& config, int veid,
                                          const std::string& path);

/// Every container whose configuration can be read, by number. Of two with one EID the smaller
/// number counts. Null when the folder cannot be read.
/// @param report  gets one line per file that is left out.
std::shared_ptr<QXLEnvList> readEnvironments(
    const std::string& folder, const std::function<void(const std::string& line)>& report);

}  // namespace QXL
