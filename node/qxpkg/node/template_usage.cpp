// See template_usage.h.
#include "node/qxpkg/node/template_usage.h"

#include <unistd.h>

#include <functional>
#include <system_error>

#include "layout/container_config.h"
#include "layout/paths.h"
#include "node/kr/manifest.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

using qxnode::ContainerConfig;

/// As many as a reader of a message takes in.
constexpr std::size_t kShown = 10;

TemplateUse useOf(int veid) {
    TemplateUse use;
    use.veid = veid;
    const auto config = ContainerConfig::read(qxnode::containerConfigPath(veid), use.error);
    if (!config) {
        return use;
    }
    const std::string os = config->get(qxnode::parameter::kOsTemplate).value_or("");
    if (os.starts_with('.')) {
        use.os = os;
        for (const std::string& name : config->templates()) {
            use.applications.push_back(qxnode::dottedKrName(name));
        }
    }
    return use;
}

void refuseIfUsed(const std::vector<TemplateUse>& uses, const std::string& what,
                  const std::function<bool(const TemplateUse&)>& isUser) {
    std::string users;
    std::size_t count = 0;
    for (const TemplateUse& use : uses) {
        if (!use.error.empty()) {
            throw Failure(kRefused, "cannot tell whether container " + std::to_string(use.veid) +
                                        " uses " + what + ": " + use.error);
        }
        if (isUser(use) && ++count <= kShown) {
            users += (users.empty() ? "" : ", ") + std::to_string(use.veid);
        }
    }
    if (count > kShown) {
        users += " and " + std::to_string(count - kShown) + " more";
    }
    if (count > 0) {
        throw Failure(kRefused, what + " is used by container(s) " + users);
    }
}

}  // namespace

std::vector<TemplateUse> templateUses() {
    std::vector<TemplateUse> uses;
    std::error_code failure;
    for (const int veid : qxnode::containerNumbers(qxnode::kContainerConfigDir, failure)) {
        uses.push_back(useOf(veid));
    }
    // Without the folder nobody knows what is in use.
    if (failure) {
        throw Failure("cannot tell which templates are in use: cannot read '" +
                      std::string(qxnode::kContainerConfigDir) + "': " + failure.message());
    }
    return uses;
}

void refuseUsedOs(const std::vector<TemplateUse>& uses, const std::string& os) {
    refuseIfUsed(uses, "OS template '" + os + "'",
                 [&](const TemplateUse& use) { return use.os == os; });
}

void refuseUsedApplication(const std::vector<TemplateUse>& uses, const std::string& os,
                           const std::string& application) {
    refuseIfUsed(uses, "application template '" + application + "' of '" + os + "'",
                 [&](const TemplateUse& use) {
                     return use.os == os &&
                            std::find(use.applications.begin(), use.applications.end(),
                                      application) != use.applications.end();
                 });
}

}  // namespace qxpkg
