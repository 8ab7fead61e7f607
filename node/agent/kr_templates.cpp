// All KR templates of the node for the package monitor; see kr_templates.h.
#include "node/agent/kr_templates.h"

#include <unistd.h>

namespace QXL {

std::vector<qxnode::KrManifest> readKrTemplates(
    const std::string& folder, const std::function<void(const std::string& line)>& report) {
    std::vector<qxnode::KrManifest> templates;
    const auto add = [&](const auto& read) {
        try {
            templates.push_back(read());
        } catch (const qxnode::Failure& failure) {
            report(failure.what());
        }
    };
    for (const std::string& os : qxnode::krOsNames(folder)) {
        add([&] { return qxnode::readKrOsManifest(folder, os); });
        for (const std::string& name : qxnode::krApplicationNames(folder, os)) {
            add([&] { return qxnode::readKrApplicationManifest(folder, os, name); });
        }
    }
    return templates;
}

}  // namespace QXL
