// See templates.h.
#include "node/qxpkg/container/templates.h"

#include <algorithm>

#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

void addOnce(std::vector<std::string>& names, const std::vector<std::string>& more) {
    for (const std::string& name : more) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
}

}  // namespace

std::vector<qxnode::KrManifest> resolveTemplates(const Container& container,
                                                 const std::vector<std::string>& names) {
    const std::string& os = container.os().name;
    std::vector<qxnode::KrManifest> manifests;
    for (const std::string& name : names) {
        if (qxnode::dottedKrName(name) == os) {
            manifests.push_back(container.os());
            continue;
        }
        try {
            manifests.push_back(qxnode::readKrApplicationManifest(os, name));
        } catch (const Failure& failure) {
            throw Failure("template '" + qxnode::dottedKrName(name) + "' of OS template '" + os +
                          "': " + failure.what());
        }
    }
    return manifests;
}

std::vector<std::string> packagesOf(const qxnode::KrManifest& manifest) {
    return manifest.isOsTemplate ? manifest.allPackages() : manifest.packages;
}

std::vector<std::string> packagesOf(const std::vector<qxnode::KrManifest>& manifests) {
    std::vector<std::string> packages;
    for (const qxnode::KrManifest& manifest : manifests) {
        addOnce(packages, packagesOf(manifest));
    }
    return packages;
}

std::vector<std::string> packagesOfOthers(const Container& container,
                                          const std::vector<std::string>& butFor) {
    std::vector<std::string> packages = packagesOf(container.os());
    for (const std::string& name : container.applications()) {
        if (std::find(butFor.begin(), butFor.end(), name) != butFor.end()) {
            continue;
        }
        try {
            addOnce(packages,
                    packagesOf(qxnode::readKrApplicationManifest(container.os().name, name)));
        } catch (const Failure&) {
            continue;
        }
    }
    return packages;
}

}  // namespace qxpkg
