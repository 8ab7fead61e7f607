// See cache_build.h. A deb tree is bootstrapped, since its first packages need one another before
// any of them can be configured; an rpm tree, and one that starts from nothing, is what the engine
// itself makes of an empty folder.
#include "node/qxpkg/node/cache_build.h"

#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/engine/engine_run.h"
#include "node/qxpkg/engine/place.h"
#include "node/qxpkg/failure.h"

namespace qxpkg {

namespace {

using qxnode::KrManifest;

void installIntoEmpty(const KrManifest& os, const Place& place, const Output& output) {
    const Options options;
    const std::unique_ptr<Engine> engine = makeEngine(place, options, output);
    engine->refresh();
    // Scripts of later packages need the shell, at least, that the first ones bring.
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

}  // namespace

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

}  // namespace qxpkg
