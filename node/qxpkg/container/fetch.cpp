// Downloads for the node's templates; see operations.h.
#include <algorithm>

#include "base/durable.h"
#include "layout/paths.h"
#include "node/qxpkg/container/container.h"
#include "node/qxpkg/container/operations.h"
#include "node/qxpkg/container/package_cache.h"
#include "node/qxpkg/container/templates.h"
#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/locking.h"

namespace qxpkg {

namespace {

using qxnode::KrManifest;

/// An OS template and the packages to download for it.
struct Wanted {
    KrManifest os;
    std::vector<KrManifest> templates;
};

std::vector<KrManifest> applicationsOf(const KrManifest& os, const Output& output) {
    std::vector<KrManifest> applications;
    for (const std::string& name : qxnode::krApplicationNames(qxnode::kKrTemplateDir, os.name)) {
        try {
            applications.push_back(qxnode::readKrApplicationManifest(os.name, name));
        } catch (const Failure& failure) {
            output.notice(failure.what());
        }
    }
    return applications;
}

std::vector<Wanted> allTemplates(const Output& output) {
    std::vector<Wanted> all;
    for (const std::string& name : qxnode::krOsNames(qxnode::kKrTemplateDir)) {
        try {
            const KrManifest os = qxnode::readKrOsManifest(name);
            Wanted wanted{os, applicationsOf(os, output)};
            wanted.templates.push_back(os);
            all.push_back(wanted);
        } catch (const Failure& failure) {
            output.notice(failure.what());
        }
    }
    return all;
}

/// The templates of these names; an application's name means the application of every OS template.
std::vector<Wanted> namedTemplates(const std::vector<std::string>& names, const Output& output) {
    std::vector<Wanted> all = allTemplates(output);
    for (const std::string& name : names) {
        const bool known = std::any_of(all.begin(), all.end(), [&](const Wanted& wanted) {
            return std::any_of(wanted.templates.begin(), wanted.templates.end(),
                               [&](const KrManifest& manifest) {
                                   return manifest.name == qxnode::dottedKrName(name);
                               });
        });
        if (!known) {
            throw Failure("template '" + qxnode::dottedKrName(name) + "' is not on this node");
        }
    }
    for (Wanted& wanted : all) {
        std::erase_if(wanted.templates, [&](const KrManifest& manifest) {
            return std::none_of(names.begin(), names.end(), [&](const std::string& name) {
                return manifest.name == qxnode::dottedKrName(name);
            });
        });
    }
    std::erase_if(all, [](const Wanted& wanted) { return wanted.templates.empty(); });
    return all;
}

std::vector<Wanted> wantedTemplates(const std::vector<std::string>& names, const Output& output) {
    return names.empty() ? allTemplates(output) : namedTemplates(names, output);
}

void makeFolder(const std::string& path) {
    std::string error;
    if (!base::makeDirectories(path, error)) {
        throw Failure(error);
    }
}

/// Downloads use an empty root, so that dependencies are downloaded, too, whatever containers have.
void fetchFor(const Wanted& wanted, const std::vector<std::string>& packages,
              const Options& options, const Output& output) {
    Place place = placeOf(wanted.os);
    for (const KrManifest& manifest : wanted.templates) {
        addRepositories(place, manifest);
    }
    place.store = place.downloads;
    place.root = place.store + "/root";
    makeFolder(place.root);
    const qxnode::FileLock lock = lockFile(place.store + "/.lock", options.wait, output);
    const auto engine = makeEngine(place, options, output);
    engine->refresh();
    if (options.dryRun) {
        output.heading("Would be fetched for " + wanted.os.name);
        for (const Package& package : engine->plan(Action::install, packages)) {
            output.package(package.name, package.architecture, package.version);
        }
        return;
    }
    output.step("fetching for " + wanted.os.name + ": " + enumeration(packages));
    engine->download(packages);
}

/// Only its repositories know whether an OS template offers a package, so each one is asked.
void fetchFromAny(const std::vector<Wanted>& all, const std::string& name, const Options& options) {
    bool found = false;
    std::string reasons;
    for (const Wanted& wanted : all) {
        try {
            fetchFor(wanted, {name}, options, Output(true));
            found = true;
        } catch (const Failure& failure) {
            reasons += (reasons.empty() ? ": " : "; ") + wanted.os.name + ": " + failure.what();
        }
    }
    if (!found) {
        throw Failure("no OS template offers package '" + name + "'" + reasons);
    }
}

void fetchByName(const std::vector<std::string>& names, const Options& options,
                 const Output& output) {
    for (const std::string& name : names) {
        if (!qxnode::isKrPackageName(name)) {
            throw Failure("'" + name + "' cannot be a package's name");
        }
    }
    const std::vector<Wanted> all = allTemplates(output);
    for (const std::string& name : names) {
        fetchFromAny(all, name, options);
    }
}

}  // namespace

void fetchPackages(Names kind, const std::vector<std::string>& names, const Options& options,
                   const Output& output) {
    if (kind == Names::packages && !names.empty()) {
        fetchByName(names, options, output);
        return;
    }
    for (const Wanted& wanted : wantedTemplates(names, output)) {
        const std::vector<std::string> packages = packagesOf(wanted.templates);
        if (!packages.empty()) {
            fetchFor(wanted, packages, options, output);
        }
    }
}

void cleanPackages(Names kind, const std::vector<std::string>& names, const Options& options,
                   const Output& output) {
    std::vector<std::string> packages = names;
    if (kind == Names::templates && !names.empty()) {
        packages.clear();
        for (const Wanted& wanted : namedTemplates(names, output)) {
            for (const std::string& package : packagesOf(wanted.templates)) {
                packages.push_back(package);
            }
        }
    }
    const bool all = names.empty();
    for (const std::string& store : storesWithDownloads()) {
        const int removed = removeDownloads(store, [&](const std::string& package) {
            const bool drop =
                all || std::find(packages.begin(), packages.end(), package) != packages.end();
            if (drop && options.dryRun) {
                output.step("would remove the downloads of '" + package + "'");
            }
            return drop && !options.dryRun;
        });
        if (removed > 0) {
            output.step(store + ": " + std::to_string(removed) + " package file(s) removed");
        }
    }
}

}  // namespace qxpkg
