// Caches of OS templates; see operations.h. A cache is built in staging and gets a new folder name,
// so that the old one stays complete until its template's "cache.toml" names the new one.
#include <algorithm>
#include <exception>
#include <string>

#include "base/tree.h"
#include "layout/paths.h"
#include "node/kr/manifest.h"
#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/engine/engine_run.h"
#include "node/qxpkg/engine/place.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/node_templates.h"
#include "node/qxpkg/node/operations.h"
#include "node/qxpkg/node/template_writer.h"
#include "node/qxpkg/output.h"

namespace qxpkg {

namespace {

using QXA::tem::JournalStep;
using QXA::tem::StagedChange;
using qxnode::KrManifest;

/// The variant of a deb root tree that has only the packages of the template.
constexpr const char* kEmptyVariant = "empty";
constexpr const char* kCacheArchive = "root.tar.gz";

/// Host paths of a cache that is being built. All exist; root and store are empty.
struct CacheBuild {
    std::string root;     ///< the tree
    std::string store;    ///< the engine's lists and downloads, to be removed afterwards
    std::string archive;  ///< folder that the archive of the tree is written to
};

void installIntoEmpty(const KrManifest& os, const Place& place, const Output& output) {
    const Options options;
    const std::unique_ptr<Engine> engine = makeEngine(place, options, output);
    engine->refresh();
    // Install in this order, because scripts of later packages need programs of the first ones.
    for (const std::vector<std::string>* packages :
         {&os.basePackages, &os.lateBasePackages, &os.packages}) {
        if (!packages->empty()) {
            engine->perform(Action::install, *packages);
        }
    }
}

void pack(const KrManifest& os, const CacheBuild& build, const Output& output) {
    Confinement confinement;
    const std::string archives = std::string(inside::kWork) + "/";
    confinement.binds = {{build.root, inside::kRoot, false}, {build.archive, inside::kWork, true}};
    const EngineRun tar(std::move(confinement), output);
    requireBuilt(
        tar.run({"tar", "--create", "--gzip", "--numeric-owner", "--xattrs", "--xattrs-include=*",
                 "--one-file-system", "--sort=name", "--file=" + archives + kCacheArchive,
                 "--directory=" + std::string(inside::kRoot), "."}),
        os, output);
}

void buildCache(const KrManifest& os, const CacheBuild& build, const Output& output) {
    Place place = placeOf(os);
    place.root = build.root;
    place.store = build.store;
    output.step("building the cache of " + os.name);
    const auto bootstrap = engineKindOf(os.packaging).bootstrap;
    const bool bootstrapped = bootstrap != nullptr && os.variant != kEmptyVariant;
    bootstrapped ? bootstrap(os, place, output) : installIntoEmpty(os, place, output);
    output.step("packing the cache of " + os.name);
    pack(os, build, output);
}

std::string hostPath(const std::string& areaPath) {
    return std::string(qxnode::kTemplateDir) + "/" + areaPath;
}

/// The manifests of the named OS templates, each once.
std::vector<KrManifest> manifestsOf(const std::vector<std::string>& names) {
    const std::vector<std::string> known = qxnode::krOsNames(qxnode::kKrTemplateDir);
    std::vector<KrManifest> manifests;
    for (const std::string& name : names) {
        const std::string dotted = qxnode::dottedKrName(name);
        if (std::find(known.begin(), known.end(), qxnode::plainKrName(name)) == known.end()) {
            throw Failure("OS template '" + dotted + "' is not known");
        }
        if (std::none_of(manifests.begin(), manifests.end(),
                         [&](const KrManifest& manifest) { return manifest.name == dotted; })) {
            manifests.push_back(qxnode::readKrOsManifest(name));
        }
    }
    return manifests;
}

/// Builds one cache in staging. @return the steps that make it the template's cache.
std::vector<JournalStep> stageCache(int area, StagedChange& staging, const KrManifest& os,
                                    const Output& output) {
    const std::string cache = staging.newPath();
    const std::string store = staging.newPath();
    const std::string record = staging.newPath();
    const qxnode::KrCache made = qxnode::newKrCache();
    makeStagedFolder(area, cache + "/root");
    makeStagedFolder(area, store);
    buildCache(os, {hostPath(cache) + "/root", hostPath(store), hostPath(cache)}, output);
    writeStaged(area, record, qxnode::formatKrCache(made));

    std::vector<JournalStep> steps = {
        {JournalStep::Kind::place, 0, cache, cacheTarget(made.uuid)},
        {JournalStep::Kind::place, 0, record, osTarget(os.name) + "/" + qxnode::kKrCacheName}};
    const auto old = usableCache(os.name, output);
    if (old && base::statBelow(area, cacheTarget(old->uuid))) {
        steps.push_back({JournalStep::Kind::drop, 0, staging.newPath(), cacheTarget(old->uuid)});
    }
    return steps;
}

/// OS templates with a cache, also with a broken record: a new cache repairs that.
std::vector<std::string> namesWithCache() {
    std::vector<std::string> names = qxnode::krOsNames(qxnode::kKrTemplateDir);
    std::erase_if(names, [](const std::string& name) {
        try {
            return !qxnode::readKrCache(name);
        } catch (const Failure&) {
            return false;
        }
    });
    return names;
}

void renewCache(int area, const std::string& name, const Output& output) {
    const KrManifest os = manifestsOf({name}).front();
    QXA::tem::recoverTemplates(area);
    StagedChange staging(area);
    staging.commit(stageCache(area, staging, os, output));
    output.step("the cache of " + os.name + " is built");
}

}  // namespace

void createCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output) {
    const TemplateWriter writer(options.wait, output);
    const std::vector<KrManifest> manifests = manifestsOf(names);
    for (const KrManifest& os : manifests) {
        if (!options.force && usableCache(os.name, output)) {
            throw Failure(kRefused, "OS template '" + os.name + "' has a cache already");
        }
    }
    StagedChange staging(writer.area());
    std::vector<JournalStep> steps;
    for (const KrManifest& os : manifests) {
        const auto more = stageCache(writer.area(), staging, os, output);
        steps.insert(steps.end(), more.begin(), more.end());
    }
    staging.commit(std::move(steps));
    for (const KrManifest& os : manifests) {
        output.step("the cache of " + os.name + " is built");
    }
}

void updateCaches(const std::vector<std::string>& names, const Options& options,
                  const Output& output) {
    const TemplateWriter writer(options.wait, output);
    // Find unknown names before building anything.
    manifestsOf(names);
    std::exception_ptr first;
    for (const std::string& name : names.empty() ? namesWithCache() : names) {
        try {
            renewCache(writer.area(), name, output);
        } catch (const std::exception& failure) {
            if (first) {
                output.notice(failure.what());
            } else {
                first = std::current_exception();
            }
        }
    }
    if (first) {
        std::rethrow_exception(first);
    }
}

}  // namespace qxpkg
