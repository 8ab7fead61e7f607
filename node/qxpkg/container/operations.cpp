// Changes of one container; see operations.h.
#include "node/qxpkg/container/operations.h"

#include <algorithm>

#include "node/qxpkg/container/change.h"
#include "node/qxpkg/container/container.h"
#include "node/qxpkg/container/templates.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

bool holds(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

Place placeWith(const Container& container, const std::vector<qxnode::KrManifest>& manifests) {
    Place place = container.place();
    for (const qxnode::KrManifest& manifest : manifests) {
        addRepositories(place, manifest);
    }
    return place;
}

/// Only application templates can be removed; the OS template belongs to the container.
std::vector<std::string> removableTemplates(const Container& container,
                                            const std::vector<std::string>& names) {
    std::vector<std::string> removable;
    for (const std::string& given : names) {
        const std::string name = qxnode::dottedKrName(given);
        if (name == container.os().name) {
            throw Failure(kRefused, "OS template '" + name + "' cannot be removed from container " +
                                        std::to_string(container.veid()) + ", which is made of it");
        }
        if (!holds(container.applications(), name)) {
            throw Failure("template '" + name + "' is not in container " +
                          std::to_string(container.veid()));
        }
        if (!holds(removable, name)) {
            removable.push_back(name);
        }
    }
    return removable;
}

void removeTemplates(Container& container, const std::vector<std::string>& names,
                     const Options& options, const Output& output) {
    const std::vector<std::string> gone = removableTemplates(container, names);
    const Place place = container.place();
    const std::vector<std::string> kept = packagesOfOthers(container, gone);
    const PackageList installed = makeEngine(place, options, output)->installed();
    std::vector<std::string> packages;
    for (const std::string& package : packagesOf(resolveTemplates(container, gone))) {
        if (!holds(kept, package) && !packagesNamed(installed, package).empty()) {
            packages.push_back(package);
        }
    }
    if (!packages.empty()) {
        changePackages(place, Action::remove, packages, options, output);
    }
    if (options.dryRun) {
        return;
    }
    std::vector<std::string> rest = container.applications();
    std::erase_if(rest, [&](const std::string& name) { return holds(gone, name); });
    container.setApplications(rest);
}

/// Installs packages before it changes the configuration: a configured template has its packages.
void installTemplates(Container& container, const std::vector<std::string>& names,
                      const Options& options, const Output& output) {
    const std::vector<qxnode::KrManifest> manifests = resolveTemplates(container, names);
    const std::vector<std::string> packages = packagesOf(manifests);
    if (!packages.empty()) {
        changePackages(placeWith(container, manifests), Action::install, packages, options, output);
    }
    std::vector<std::string> all = container.applications();
    for (const qxnode::KrManifest& manifest : manifests) {
        if (!manifest.isOsTemplate && !holds(all, manifest.name)) {
            all.push_back(manifest.name);
        }
    }
    if (!options.dryRun && all != container.applications()) {
        container.setApplications(all);
    }
}

/// An update also installs packages that were added to a template after its installation.
void updateTemplates(Container& container, const std::vector<std::string>& names,
                     const Options& options, const Output& output) {
    const std::vector<qxnode::KrManifest> manifests = resolveTemplates(container, names);
    for (const qxnode::KrManifest& manifest : manifests) {
        if (!manifest.isOsTemplate && !holds(container.applications(), manifest.name)) {
            throw Failure("template '" + manifest.name + "' is not in container " +
                          std::to_string(container.veid()));
        }
    }
    const Place place = placeWith(container, manifests);
    const PackageList installed = makeEngine(place, options, output)->installed();
    std::vector<std::string> there;
    std::vector<std::string> missing;
    for (const std::string& package : packagesOf(manifests)) {
        (packagesNamed(installed, package).empty() ? missing : there).push_back(package);
    }
    if (!missing.empty()) {
        changePackages(place, Action::install, missing, options, output);
    }
    if (!there.empty()) {
        changePackages(place, Action::update, there, options, output);
    }
}

}  // namespace

void installInContainer(int veid, Names kind, const std::vector<std::string>& names,
                        const Options& options, const Output& output) {
    Container container(veid, options, output);
    if (kind == Names::templates) {
        installTemplates(container, names, options, output);
    } else if (!names.empty()) {
        changePackages(container.place(), Action::install, names, options, output);
    }
}

void updateContainer(int veid, Names kind, const std::vector<std::string>& names,
                     const Options& options, const Output& output) {
    Container container(veid, options, output);
    if (kind == Names::templates && !names.empty()) {
        updateTemplates(container, names, options, output);
    } else {
        changePackages(container.place(), Action::update, names, options, output);
    }
}

void removeFromContainer(int veid, Names kind, const std::vector<std::string>& names,
                         const Options& options, const Output& output) {
    Container container(veid, options, output);
    if (names.empty()) {
        return;
    }
    if (kind == Names::templates) {
        removeTemplates(container, names, options, output);
    } else {
        changePackages(container.place(), Action::remove, names, options, output);
    }
}

}  // namespace qxpkg
