// Changes the node's templates: installation and removal.
#include "node/agent/tem/template_store.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>

#include "QXA/QXATEMLocal.h"
#include "base/fd.h"
#include "base/open_below.h"
#include "node/agent/tem/template_area.h"
#include "node/support/failure.h"
#include "node/template/machine.h"
#include "node/template/package_list.h"

namespace QXA::tem {

using qxnode::Failure;
using qxnode::systemFailure;

namespace {

using ManifestSP = std::shared_ptr<const Manifest>;

bool anyOs(const QXATemplate& wanted, const std::vector<ManifestSP>& templates) {
    return std::any_of(templates.begin(), templates.end(), [&](const ManifestSP& manifest) {
        return manifest->config.isOsTemplate && matches(wanted, manifest->key());
    });
}

// True if at least one of `templates` is an OS template of the application.
bool hasItsOs(const Manifest& application, const std::vector<ManifestSP>& templates) {
    const std::vector<QXATemplate>& bases = application.config.baseOsTemplates;
    return bases.empty() || std::any_of(bases.begin(), bases.end(), [&](const QXATemplate& base) {
               return anyOs(base, templates);
           });
}

// A message names at most so many templates.
std::string listed(const std::vector<QXATemplate>& keys) {
    constexpr std::size_t kShown = 10;
    std::string text;
    for (std::size_t i = 0; i < std::min(keys.size(), kShown); ++i) {
        text += (i == 0 ? "" : ", ") + keys[i].toString();
    }
    if (keys.size() > kShown) {
        text += " and " + std::to_string(keys.size() - kShown) + " more";
    }
    return text;
}

void refuseForeignMachine(const Manifest& manifest) {
    const QXATemplateConfigInfo& config = manifest.config;
    if (strcasecmp(config.platform.c_str(), "Linux") != 0) {
        throw Failure(kTemConflict, "template '" + manifest.key().toString() +
                                        "' is for platform '" + config.platform + "'");
    }
    if (!fitsThisMachine(config.architecture)) {
        throw Failure(kTemConflict, "template '" + manifest.key().toString() +
                                        "' is for architecture '" + config.architecture +
                                        "', this node is '" + thisMachine() + "'");
    }
}

void refuseTakenName(const Manifest& manifest, const std::vector<ManifestSP>& others) {
    for (const ManifestSP& other : others) {
        if (other->config.name == manifest.config.name &&
            other->config.isOsTemplate != manifest.config.isOsTemplate) {
            throw Failure(kTemConflict,
                          "template '" + manifest.key().toString() + "' has the name of " +
                              (other->config.isOsTemplate ? "an OS" : "an application") +
                              " template, '" + other->key().toString() + "'");
        }
    }
}

void checkList(const TemplateArea& area, const std::vector<ManifestSP>& list, bool force) {
    std::vector<ManifestSP> known = area.all();
    known.insert(known.end(), list.begin(), list.end());
    for (const ManifestSP& manifest : list) {
        const QXATemplate key = manifest->key();
        const auto twice = std::count_if(
            list.begin(), list.end(), [&](const ManifestSP& other) { return other->key() == key; });
        if (twice > 1) {
            throw Failure(kTemConflict, "template '" + key.toString() + "' is listed twice");
        }
        if (!hasItsOs(*manifest, known)) {
            throw Failure(kTemDamaged, "template '" + key.toString() +
                                           "' lacks its OS template; it is made for " +
                                           listed(manifest->config.baseOsTemplates));
        }
        if (force) {
            continue;
        }
        const std::vector<std::string> versions = area.versions(key.name);
        if (std::find(versions.begin(), versions.end(), key.version) != versions.end()) {
            throw Failure(kTemConflict, "template '" + key.toString() + "' already exists");
        }
        refuseTakenName(*manifest, known);
        refuseForeignMachine(*manifest);
    }
}

void unpackInto(int area, const std::string& path, PackageReader& package) {
    if (mkdirat(area, path.c_str(), 0755) != 0) {
        throw systemFailure("make directory", path);
    }
    const base::Fd directory = base::openBelow(area, path, O_RDONLY | O_DIRECTORY);
    if (!directory) {
        throw systemFailure("open directory", path);
    }
    package.unpack(directory.get());
}

std::vector<QXAPackageInfo> asInfos(const std::vector<ManifestSP>& manifests) {
    std::vector<QXAPackageInfo> infos;
    for (const ManifestSP& manifest : manifests) {
        auto info = std::find_if(infos.begin(), infos.end(), [&](const QXAPackageInfo& known) {
            return known.name == manifest->config.name;
        });
        if (info == infos.end()) {
            infos.push_back({manifest->config.name, manifest->vendor, manifest->origin, {}});
            info = std::prev(infos.end());
        }
        info->versions.push_back(versionOf(*manifest));
    }
    return infos;
}

std::vector<QXATemplate> withVersions(const TemplateArea& area,
                                      const std::vector<QXATemplate>& keys) {
    std::vector<QXATemplate> out;
    const auto append = [&](const QXATemplate& key) {
        if (std::find(out.begin(), out.end(), key) == out.end()) {
            out.push_back(key);
        }
    };
    for (const QXATemplate& key : keys) {
        if (!key.version.empty()) {
            append(area.resolve(key));
            continue;
        }
        const std::vector<std::string> versions = area.versions(key.name);
        if (versions.empty()) {
            throw Failure(kTemUnknownTemplate, "template '" + key.name + "' is not known");
        }
        for (const std::string& version : versions) {
            append({key.name, version});
        }
    }
    return out;
}

// An application template must not lose its last OS template; one that has none already does not
// matter.
void refuseNeeded(const TemplateArea& area, const std::vector<QXATemplate>& removed) {
    const std::vector<ManifestSP> before = area.all();
    std::vector<ManifestSP> after = before;
    std::erase_if(after, [&](const ManifestSP& manifest) {
        return std::find(removed.begin(), removed.end(), manifest->key()) != removed.end();
    });
    std::vector<QXATemplate> left;
    for (const ManifestSP& manifest : after) {
        if (!manifest->config.isOsTemplate && hasItsOs(*manifest, before) &&
            !hasItsOs(*manifest, after)) {
            left.push_back(manifest->key());
        }
    }
    if (!left.empty()) {
        throw Failure(kTemConflict, "cannot remove " + listed(removed) +
                                        ": needed by application template(s) " + listed(left));
    }
}

}  // namespace

QXAPackageVersion versionOf(const Manifest& manifest) {
    return manifest.config;
}

std::vector<QXAPackageInfo> installPackages(const std::vector<std::string>& paths, bool force,
                                            const PackageLimits& limits) {
    std::vector<PackageReader> packages =
        readPackageList(paths, kTemNotStandard,
                        [&](const std::string& path) { return PackageReader(path, limits); });
    std::vector<ManifestSP> manifests;
    manifests.reserve(packages.size());
    for (const PackageReader& package : packages) {
        manifests.push_back(std::make_shared<const Manifest>(package.manifest()));
    }
    if (packages.empty()) {
        return {};
    }
    {
        const TemplateArea before;
        recoverTemplates(before.root());
    }
    const TemplateArea area;
    checkList(area, manifests, force);
    StagedChange staging(area.root());
    std::vector<JournalStep> steps;
    for (PackageReader& package : packages) {
        const std::string path = staging.newPath();
        unpackInto(area.root(), path, package);
        const QXATemplate key = package.manifest().key();
        steps.push_back({JournalStep::Kind::place, 0, path, key.name + "/" + key.version});
    }
    staging.commit(std::move(steps));
    return asInfos(manifests);
}

void removeTemplates(const std::vector<QXATemplate>& keys) {
    if (keys.empty()) {
        return;
    }
    {
        const TemplateArea before;
        recoverTemplates(before.root());
    }
    const TemplateArea area;
    const std::vector<QXATemplate> removed = withVersions(area, keys);
    refuseNeeded(area, removed);
    StagedChange staging(area.root());
    std::vector<JournalStep> steps;
    for (const QXATemplate& key : removed) {
        steps.push_back(
            {JournalStep::Kind::drop, 0, staging.newPath(), key.name + "/" + key.version});
    }
    staging.commit(std::move(steps));
}

}  // namespace QXA::tem
