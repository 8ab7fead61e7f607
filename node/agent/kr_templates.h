// The KR templates of the node, as their metadata files say.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace QXL {

struct KrTemplate {
    std::string name;    ///< with its "."
    std::string osName;  ///< OS template of an application template, with its "."
    bool isOsTemplate = false;
    std::string version;
    std::string architecture;
    std::string summary;
};

/// Reads `folder`/<os>/template.toml and `folder`/<os>/app/<app>.toml. A folder that is not there
/// holds no templates. Files that cannot be read are left out, with a line for `report`.
/// @throws std::runtime_error when the folder itself cannot be read.
std::vector<KrTemplate> readKrTemplates(const std::string& folder,
                                        const std::function<void(const std::string& line)>& report);

}  // namespace QXL
