// See cache_build.h. A deb tree is bootstrapped, since its first packages need one another before
// any of them can be configured; an rpm tree, and one that starts from nothing, is what the engine
// itself makes of an empty folder.
#include "node/qxpkg/node/cache_build.h"

#include "node/qxpkg/engine/deb_configuration.h"
#include "node/qxpkg/engine/engine.h"
#include "node/qxpkg/engine/engine_run.h"
#include "node/qxpkg/engine/place.h"
#include "node/qxpkg/failure.h"
#include "node/qxpkg/node/root_sources.h"

namespace qxpkg {

namespace {

using qxnode::KrManifest;

constexpr const char* kDefaultVariant = "minbase";

std::string attempt(const KrManifest& os) {
    return "cannot build the cache of '" + os.name + "'";
}

void require(const EngineResult& result, const KrManifest& os, const Output& output) {
    if (!result.succeeded()) {
        failWith(result, attempt(os) + ": " + lastWords(result), output);
    }
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

/// The suite whose packages belong to the extent; a flat repository has none, which stands for all
/// of its packages.
std::string suiteOf(const KrManifest& os) {
    if (!os.release.empty()) {
        return os.release;
    }
    for (const qxnode::KrRepository& repository : os.repositories) {
        if (!repository.suite.empty() && !repository.suite.ends_with('/')) {
            return repository.suite;
        }
    }
    return "";
}

std::vector<std::string> bootstrapCommand(const KrManifest& os,
                                          const std::vector<ConfigurationFile>& configuration) {
    // The sandbox has mounted /dev and /proc already. The tree's own /dev stays empty: containers
    // get theirs when they start.
    std::vector<std::string> words = {
        "mmdebstrap",
        "--mode=root",
        "--format=directory",
        "--variant=" + (os.variant.empty() ? kDefaultVariant : os.variant),
        "--skip=check/empty,check/qemu,chroot/mount,output/dev",
        "--aptopt=APT::Sandbox::User \"root\"",
        R"(--setup-hook=rm -f "$1"/dev/fd "$1"/dev/stdin "$1"/dev/stdout "$1"/dev/stderr "$1"/dev/core)"};
    if (!os.architecture.empty()) {
        words.push_back("--architectures=" + os.architecture);
    }
    const std::vector<std::string> packages = os.allPackages();
    if (!packages.empty()) {
        words.push_back("--include=" + joined(packages));
    }
    words.push_back(suiteOf(os));
    words.emplace_back(inside::kRoot);
    for (const ConfigurationFile& file : configuration) {
        if (file.name.starts_with("sources.list") && !file.content.empty()) {
            words.push_back(std::string(inside::kConfiguration) + "/" + file.name);
        }
    }
    return words;
}

void bootstrap(const KrManifest& os, const Place& place, const Output& output) {
    const std::vector<ConfigurationFile> configuration = debConfiguration(place, kDpkgDatabase);
    prepareStore(place, configuration, {"tmp"});
    Confinement confinement = confinementOf(place, place.repositoriesNeedNetwork());
    confinement.environment = {"DEBIAN_FRONTEND=noninteractive",
                               "TMPDIR=" + std::string(inside::kWork) + "/tmp"};
    require(EngineRun(std::move(confinement), output).run(bootstrapCommand(os, configuration)), os,
            output);
    writeRootSources(place, configuration);
}

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
    require(
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
    const bool bootstrapped =
        os.packaging == qxnode::KrPackaging::deb && os.variant != kEmptyVariant;
    bootstrapped ? bootstrap(os, place, output) : installIntoEmpty(os, place, output);
    output.step("packing the cache of " + os.name);
    pack(os, build, output);
}

}  // namespace qxpkg
