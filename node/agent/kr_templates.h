// The KR templates of the node, read from their metadata files.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "node/kr/manifest.h"

namespace QXL {

/// The OS templates below `folder`, sorted by name, each followed by its application templates. A
/// missing folder has no templates. A template whose metadata cannot be read is left out, and
/// `report` is called with a line; its application templates are not left out.
/// @throws std::runtime_error if the folder itself cannot be read.
std::vector<qxnode::KrManifest> readKrTemplates(
    const std::string& folder, const std::function<void(const std::string& line)>& report);

}  // namespace QXL
