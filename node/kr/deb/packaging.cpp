// Databases of dpkg, and repositories of debs as they lie on the node's own disk.
#include "node/kr/deb/packaging.h"

#include <algorithm>
#include <array>
#include <utility>

#include "node/kr/compressed_file.h"
#include "node/kr/database.h"
#include "node/kr/deb/index.h"
#include "node/kr/list_output.h"
#include "node/kr/manifest.h"
#include "node/kr/sandbox.h"
#include "node/kr/text.h"
#include "node/kr/version_order.h"

namespace qxnode {

namespace {

std::string architecture(const std::string& machine) {
    // Where the names of deb differ from the kernel's.
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> names{
        {{"x86_64", "amd64"},
         {"aarch64", "arm64"},
         {"i686", "i386"},
         {"armv7l", "armhf"},
         {"ppc64le", "ppc64el"}}};
    const auto* const found = std::find_if(names.begin(), names.end(),
                                           [&](const auto& pair) { return pair.first == machine; });
    return found == names.end() ? machine : std::string(found->second);
}

std::vector<std::string> listCommand(const DatabaseQuery& query, const DatabaseFolder& folder) {
    folder.requireRegular("status");
    if (const DatabaseFolder updates = folder.subfolder("updates"); updates.isThere()) {
        updates.requireRegularFiles();
    }
    const std::string field(1, kFieldMark);
    const std::string format = std::string(1, kRecordMark) + "${db:Status-Abbrev}" + field +
                               "${Package}" + field + "${Architecture}" + field + "${Version}" +
                               field + "${binary:Summary}" + field +
                               (query.descriptions ? "${Description}" : "") + "\\n";
    std::vector<std::string> command{kDebPackaging.databaseEngine,
                                     "--admindir=" + inSandbox(folder.place()), "-W", "-f", format};
    if (!query.name.empty()) {
        command.push_back(query.name);
    }
    return command;
}

bool takeListed(Package& package) {
    package.description = debDescription(std::move(package.description));
    // The second letter of the state: n and c stand for "not there" and "only its configuration".
    return package.state.size() < 2 || (package.state[1] != 'n' && package.state[1] != 'c');
}

void readIndex(const std::string& name, const KrManifest& os, const OnPackage& onPackage) {
    DebIndex index([&](Package&& package) {
        if (package.architecture == os.architecture ||
            package.architecture == kDebPackaging.anyArchitecture) {
            onPackage(std::move(package));
        }
    });
    readCompressedFile(packedFile(name), kMaxIndex,
                       [&](std::string_view block) { index.add(block); });
    index.finish();
}

void readRepository(const KrRepository& repository, const KrManifest& os,
                    const OnPackage& onPackage) {
    const std::string folder = repository.hostFolder();
    if (repository.suite.empty() || repository.suite.ends_with('/')) {
        readIndex(folder + "/" + repository.suite + "Packages", os, onPackage);
        return;
    }
    for (const std::string& component : repository.components) {
        readIndex(folder + "/dists/" + repository.suite + "/" + component + "/binary-" +
                      os.architecture + "/Packages",
                  os, onPackage);
    }
}

}  // namespace

const Packaging kDebPackaging{
    .name = "deb",
    .anyArchitecture = "all",
    .databaseEngine = "/usr/bin/dpkg-query",
    .databaseFolder = "/var/lib/dpkg",
    .databaseFiles = {"status"},
    // 1 when nothing is called so, 2 for everything worse.
    .nothingFound = 1,
    .architecture = architecture,
    .compareVersions = compareDebVersions,
    .listCommand = listCommand,
    .takeListed = takeListed,
    .readRepository = readRepository,
};

}  // namespace qxnode
