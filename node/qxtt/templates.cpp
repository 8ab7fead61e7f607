// Manifests and configurations of the node; see templates.h.
#include "node/qxtt/templates.h"

#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "layout/paths.h"
#include "node/kr/cache.h"
#include "node/kr/packaging.h"
#include "node/support/failure.h"
#include "qxtt/qxtt.h"

namespace qxtt {

namespace {

using qxnode::ContainerConfig;
using qxnode::Failure;

/// @throws Failure if nothing exists at the path.
void requireThere(const std::string& path, int code, const std::string& what) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        throw Failure(code, "there is no " + what);
    }
}

void requireName(std::string_view name) {
    if (!qxnode::isKrName(name)) {
        throw Failure(QXTT_E_NO_TEMPLATE,
                      "'" + std::string(name) + "' cannot be a template's name");
    }
}

KrManifest namedOnly(const std::string& name, const std::string& osName) {
    KrManifest manifest;
    manifest.name = name;
    manifest.osName = osName;
    manifest.isOsTemplate = osName.empty();
    return manifest;
}

}  // namespace

KrManifest osTemplate(std::string_view os) {
    requireName(os);
    requireThere(qxnode::krOsManifestPath(os), QXTT_E_NO_TEMPLATE,
                 "OS template '" + qxnode::plainKrName(os) + "'");
    try {
        KrManifest manifest = qxnode::readKrOsManifest(os);
        if (manifest.architecture.empty()) {
            utsname node{};
            uname(&node);
            manifest.architecture = manifest.packaging->architecture(node.machine);
        }
        return manifest;
    } catch (const Failure& error) {
        throw Failure(QXTT_E_BAD_TEMPLATE, error.what());
    }
}

KrManifest applicationTemplate(std::string_view os, std::string_view name) {
    const KrManifest osManifest = osTemplate(os);
    requireName(name);
    requireThere(qxnode::krApplicationManifestPath(os, name), QXTT_E_NO_TEMPLATE,
                 "application template '" + qxnode::plainKrName(name) + "' of OS template '" +
                     qxnode::plainKrName(os) + "'");
    try {
        KrManifest manifest = qxnode::readKrApplicationManifest(os, name);
        if (manifest.packaging == nullptr) {
            manifest.packaging = osManifest.packaging;
        }
        if (manifest.architecture.empty()) {
            manifest.architecture = osManifest.architecture;
        }
        return manifest;
    } catch (const Failure& error) {
        throw Failure(QXTT_E_BAD_TEMPLATE, error.what());
    }
}

std::vector<std::string> osTemplateNames() {
    std::vector<std::string> names;
    try {
        for (const std::string& name : qxnode::krOsNames(qxnode::kKrTemplateDir)) {
            try {
                names.push_back(osTemplate(name).name);
            } catch (const Failure&) {
                continue;  // whoever asks for it by name gets the code
            }
        }
    } catch (const Failure& error) {
        throw Failure(QXTT_E_BAD_TEMPLATE, error.what());
    }
    return names;
}

std::vector<KrManifest> templatesOf(std::string_view os) {
    std::vector<KrManifest> templates{osTemplate(os)};
    try {
        for (const std::string& name : qxnode::krApplicationNames(qxnode::kKrTemplateDir, os)) {
            try {
                templates.push_back(applicationTemplate(os, name));
            } catch (const Failure&) {
                continue;  // as above
            }
        }
    } catch (const Failure& error) {
        throw Failure(QXTT_E_BAD_TEMPLATE, error.what());
    }
    return templates;
}

std::optional<std::string> cacheRoot(std::string_view os) {
    try {
        const auto cache = qxnode::readKrCache(os);
        struct stat st {};
        // The tree may have been removed meanwhile: then there is no cache, and that is no failure.
        return cache && stat(cache->root.c_str(), &st) == 0 ? std::optional(cache->root)
                                                            : std::nullopt;
    } catch (const Failure& error) {
        throw Failure(QXTT_E_BAD_TEMPLATE, error.what());
    }
}

Container containerOf(int veid) {
    const std::string path = qxnode::containerConfigPath(veid);
    requireThere(path, QXTT_E_NO_CONTAINER, "container " + std::to_string(veid));
    std::string error;
    const auto config = ContainerConfig::read(path, error);
    if (!config) {
        throw Failure(QXTT_E_BAD_CONTAINER, error);
    }
    Container container;
    container.veid = veid;
    container.osName = config->get(qxnode::parameter::kOsTemplate).value_or("");
    if (!container.osName.starts_with('.') || !qxnode::isKrName(container.osName)) {
        throw Failure(QXTT_E_BAD_CONTAINER, path + ": names no KR OS template");
    }
    for (const std::string& name : config->templates()) {
        if (qxnode::isKrName(name)) {
            container.templates.push_back(qxnode::dottedKrName(name));
        }
    }
    std::sort(container.templates.begin(), container.templates.end());
    container.templates.erase(std::unique(container.templates.begin(), container.templates.end()),
                              container.templates.end());
    container.root = config->privateArea(veid) + "/root";
    return container;
}

std::vector<KrManifest> templatesOf(const Container& container) {
    std::vector<KrManifest> templates;
    try {
        templates.push_back(osTemplate(container.osName));
    } catch (const Failure&) {
        templates.push_back(namedOnly(container.osName, ""));
    }
    for (const std::string& name : container.templates) {
        try {
            templates.push_back(applicationTemplate(container.osName, name));
        } catch (const Failure&) {
            templates.push_back(namedOnly(name, container.osName));
        }
    }
    return templates;
}

std::vector<int> containerNumbers() {
    std::error_code ignored;
    return qxnode::containerNumbers(qxnode::kContainerConfigDir, ignored);
}

bool hasPrivateArea(const Container& container) {
    struct stat st {};
    return stat(container.root.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace qxtt
