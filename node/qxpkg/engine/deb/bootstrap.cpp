// The root tree of a cache of debs: their first packages need one another before any of them can be
// configured.
#include "node/qxpkg/engine/deb/configuration.h"
#include "node/qxpkg/engine/deb/engine.h"
#include "node/qxpkg/engine/deb/root_sources.h"
#include "node/qxpkg/engine/engine_run.h"

namespace qxpkg {

namespace {

using qxnode::KrManifest;

constexpr const char* kDefaultVariant = "minbase";

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

/// The suite of the variant's packages; "" (all packages) if there are only flat repositories.
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
    // The sandbox has mounted /dev and /proc. The tree's own /dev stays empty, because a container
    // gets its /dev when it starts.
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

}  // namespace

void bootstrapDeb(const KrManifest& os, const Place& place, const Output& output) {
    const std::vector<ConfigurationFile> configuration = debConfiguration(place, kDpkgDatabase);
    prepareStore(place, configuration, {"tmp"});
    Confinement confinement = confinementOf(place, place.repositoriesNeedNetwork());
    confinement.environment = {"DEBIAN_FRONTEND=noninteractive",
                               "TMPDIR=" + std::string(inside::kWork) + "/tmp"};
    requireBuilt(EngineRun(std::move(confinement), output).run(bootstrapCommand(os, configuration)),
                 os, output);
    writeRootSources(place, configuration);
}

}  // namespace qxpkg
