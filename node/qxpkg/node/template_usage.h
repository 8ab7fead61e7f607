// Which containers use a KR template.
#pragma once

#include <string>
#include <vector>

namespace qxpkg {

/// What a container's configuration says about KR templates; names dotted.
struct TemplateUse {
    int veid = 0;
    std::string os;  ///< "" when it has none of this technology
    std::vector<std::string> applications;
    std::string error;  ///< why the configuration cannot be read; nothing else is then known
};

/// Every container of the node, in the order of numbers. @throws Failure kFailed.
std::vector<TemplateUse> templateUses();

/// @throws Failure kRefused when a container uses the OS template, or when it cannot be told.
void refuseUsedOs(const std::vector<TemplateUse>& uses, const std::string& os);
void refuseUsedApplication(const std::vector<TemplateUse>& uses, const std::string& os,
                           const std::string& application);

}  // namespace qxpkg
