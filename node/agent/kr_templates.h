// The KR templates of the node, as their metadata files say.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "node/kr/manifest.h"

namespace QXL {

/// The OS templates below `folder`, each followed by its application templates, by name. A folder
/// that is not there holds no templates. Metadata that cannot be read is left out, with a line for
/// `report`; the application templates of a broken OS template are not.
/// @throws std::runtime_error when the folder itself cannot be read.
std::vector<qxnode::KrManifest> readKrTemplates(
    const std::string& folder, const std::function<void(const std::string& line)>& report);

}  // namespace QXL
